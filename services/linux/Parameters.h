#pragma once

#include <optional>
#include <vector>

#include "services/linux/Board.h"
#include "services/linux/ControlTable.h"
#include "services/linux/Description.h"

// What one camera has of the commands. Constant, Reentrant.
namespace devices {

// The controls by which words are judged: of the mains' frequencies only the board's is left where the device has both.
std::vector<Control> controlsFor(const Description& description, const Board& board);

// Every single word that a camera can be asked, with the first values: beyond parametersOf the second command of a control
// that has two, and what is only kept for the library.
std::vector<services::ParameterState> statesOf(const Description& description, const Board& board);

// parametersOf has it.
bool isListed(ia_cmd_e cmd);

// What a step adds to the word of another command. 0 for a command that is no step.
struct Step
{
    ia_cmd_e position = ia_cmd_e();
    int size = 0;
};
Step stepOf(ia_cmd_e cmd);

// Two commands of one control: the one that is set last counts. IA_CMD_IRIS_SIZE for IA_CMD_IRIS_POSITION and back;
// nothing for any other.
std::optional<ia_cmd_e> twinOf(ia_cmd_e cmd);

}  // namespace devices
