#pragma once

#include <optional>
#include <string>
#include <vector>

#include "services/linux/Board.h"
#include "services/linux/Description.h"

// The documents and the settings of a device's camera, in folders that follow one another:
//
//   <state>/current           symbolic link to the one in force, "generations/7"
//   <state>/generations/7/    mnt/ and hd1/ as the camera sees them, share/language/, description, and, written last,
//                             made-of: a folder without it is half built
//
// A generation is built beside the one in force, brought to the disk, and put in force by one rename of the link: whoever
// is killed, or loses power, at whatever step comes up on the old one or the new one, whole. One process at a time has
// the state folder. Functions throw std::runtime_error with a sentence for people, and the old generation then is as it
// was.
namespace devices {

// That are kept besides the one in force, the newest ones.
inline constexpr std::size_t kOldGenerations = 5;

struct Generation
{
    int number = 0;
    std::string folder;               // <state>/generations/<number>
    bool isNew = false;               // made just now
    Description description;          // that its documents are made of: words are judged by this one
    std::vector<std::string> report;  // what was done, lines for people
};

// The one in force. A new one is made when there is none, or when the device has other controls, the board something
// else for it, or this program other documents than the one in force was made of. Saved values are carried over by key
// and named controls by name; the first one begins with what the device has now as scheme 0.
// share: the installed documents.
Generation bringUp(const std::string& state, const std::string& share, const Description& description,
                   const Board& board);

// The one in force, with its documents as they are, for a start without the device; nothing when there is none. Where
// the link is missing, or leads to one that is not whole, it leads to this one then.
std::optional<Generation> generationInForce(const std::string& state);

// Whether this board and this program would make the same documents of a device with the same controls.
bool isMadeOf(const Generation& generation, const Board& board);

}  // namespace devices
