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

// The first word of a command: that of the controls' values where they say it.
int firstWord(const ControlTable& table, const Values& values, ia_cmd_e cmd, const services::AllowedValues& allowed);

}  // namespace devices
