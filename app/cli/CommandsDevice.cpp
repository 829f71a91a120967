#include "app/cli/Commands.h"
#include "app/cli/KeyText.h"
#include "app/cli/Session.h"
#include "app/json/Results.h"

namespace app {

Answer runDevice(Session& session, const Words& arguments)
{
    if (!arguments.empty())
    {
        return wrongUsage("device");
    }
    const std::optional<camera::DeviceState> device = session.camera().device();
    if (!device)
    {
        return Answer::failure({ErrorCode::notOnDevice, "there is no real device behind this camera"});
    }
    Answer answer;
    answer.data = toJson(*device);
    answer.text =
        device->name + (device->isThere ? "\n" : ", which is unplugged: what is set is sent when it is back\n");
    if (device->hasOtherControls)
    {
        answer.text += "it came back with other controls; start the camera again\n";
    }
    const std::vector<camera::ControlRow> controls = session.camera().controls();
    TextTable table;
    for (const auto& [key, standing] : device->standings)
    {
        table.addRow({keyTitle(key), standingText(standing)});
    }
    for (const auto& [name, standing] : device->controlStandings)
    {
        table.addRow({name, standingText(standing)});
    }
    const std::string open = table.text();
    answer.text += open.empty() ? "it has taken every value\n" : "not taken yet\n" + open;
    TextTable named;
    for (const camera::ControlRow& row : controls)
    {
        named.addRow(
            {row.control.name, row.value ? std::to_string(*row.value) : "-", allowedText(row), row.control.title});
    }
    answer.text += controls.empty() ? "" : "controls beyond the keys\n" + named.text();
    return answer;
}

}  // namespace app
