#include <algorithm>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "HostClock.h"
#include "ISensorController.h"
#include "ModuleConfigure.h"
#include "SensorKeyVal.h"
#include "fuzz/CameraTree.h"
#include "fuzz/Require.h"
#include "fuzz/ScriptedService.h"
#include "fuzz/TextParts.h"

// Key lists and sensor check requests, on a camera that is up.
// Input: the list %% the service's answers.

namespace {

constexpr char kStyle[] =
    "<Style><Tab key=\"schedule\">"
    "<Item id=\"8000\" value=\"0\"/><Item id=\"8001\" value=\"8\"/><Item id=\"8002\" value=\"0\"/>"
    "<Item id=\"8003\" value=\"18\"/><Item id=\"8004\" value=\"0\"/></Tab>"
    "<Tab key=\"image\"><Item id=\"34\" value=\"50\"/><Item id=\"2337\" value=\"-5\"/></Tab></Style>";
const std::map<int, int> kHeld = {{8000, 1}, {8001, 8}, {8002, 0}, {8003, 18}, {8004, 0}, {34, 50}, {2337, -5}};

// Stays up for the whole run: nothing that is called here changes it.
ISensorController& camera()
{
    static ISensorController* const controller = [] {
        host::setClock(std::make_shared<host::ManualClock>(12, 0));
        fuzz::emptyCamera();
        fuzz::writeFile(fuzz::kMachineInfoFile, "DeviceType=1\n");
        fuzz::writeFile(fuzz::kStyleFile, kStyle);
        fuzz::writeFile(fuzz::kDiversityFile, "<None/>");
        const fuzz::ScriptedService service("", fuzz::ScriptedService::Mood::fickle);
        auto* made = new ISensorController();
        made->init(ModuleConfigure());
        return made;
    }();
    return *controller;
}

std::string joined(const std::vector<std::string>& items)
{
    std::string text;
    for (const std::string& item : items)
    {
        text += (text.empty() && &item == &items.front() ? "" : ",") + item;
    }
    return text;
}

// Empty when the text is no list.
std::vector<std::string> itemsOf(const std::string& text)
{
    std::vector<std::string> items;
    const bool isList = camera().parseSensorParameter(text, items);
    FUZZ_REQUIRE(isList == (text.size() >= 3 && text.find('(') == 0 && text.find(')') == text.size() - 1));
    FUZZ_REQUIRE(isList != items.empty());
    FUZZ_REQUIRE(!isList || "(" + joined(items) + ")" == text);
    return items;
}

// What the service is asked for keys that the camera does not hold, and how it answers.
struct Reading
{
    int status;
    int value;
};

std::vector<Reading> readingsIn(const std::string& script, std::size_t count)
{
    std::vector<Reading> readings;
    std::string_view rest = script;
    for (std::size_t i = 0; i < count; ++i)
    {
        std::string_view line = fuzz::takeUpTo(rest, "\n");
        const int status = fuzz::takeNumber(line, 0);
        readings.push_back({status, fuzz::takeNumber(line, 0)});
    }
    return readings;
}

std::string expectedPairs(const std::vector<std::string>& items, const std::string& script)
{
    const std::vector<Reading> readings = readingsIn(script, items.size());
    std::size_t asked = 0;
    std::string pairs;
    for (const std::string& item : items)
    {
        const int key = fuzz::decimalOf(item);
        const auto held = kHeld.find(key);
        const Reading reading = held != kHeld.end() ? Reading{0, held->second} : readings[asked++];
        if (reading.status == 0)
        {
            pairs += "(" + std::to_string(key) + "," + std::to_string(reading.value) + ")";
        }
    }
    return pairs;
}

// Commands that answer with a record have no one value.
bool asksForRecord(const std::vector<std::string>& items)
{
    return std::any_of(items.begin(), items.end(), [](const std::string& item) {
        const int key = fuzz::decimalOf(item);
        return key == IA_CMD_CAMERA_VERSION || key == IA_CMD_SENSOR_CHECK || key == IA_CMD_DYNAMIC_PARAMS_CMDS_GET;
    });
}

void requirePairs(const std::string& text, const std::vector<std::string>& items, const std::string& script)
{
    const fuzz::ScriptedService service(script, fuzz::ScriptedService::Mood::fickle);
    std::string pairs = "before";
    FUZZ_REQUIRE(camera().getParameters(text, pairs) != items.empty());
    FUZZ_REQUIRE(!items.empty() || pairs == "before");
    FUZZ_REQUIRE(items.empty() || asksForRecord(items) || pairs == expectedPairs(items, script));
}

void requireSensorCheck(const std::string& text, const std::vector<std::string>& items, const std::string& script)
{
    fuzz::ScriptedService service(script, fuzz::ScriptedService::Mood::fickle);
    std::string answer = text;
    int status = 0;
    try
    {
        status = camera().SensorCheck(answer);
        FUZZ_REQUIRE(items.empty() || items.size() >= 3);
    }
    catch (const std::out_of_range&)
    {
        FUZZ_REQUIRE(!items.empty() && items.size() < 3);
    }
    const bool isSent = items.size() >= 3;
    const bool isRead = isSent && fuzz::decimalOf(items[1]) == 2;
    const Reading reading = readingsIn(script, 1).front();
    FUZZ_REQUIRE(status == (isSent ? reading.status : 0));
    FUZZ_REQUIRE(answer == (isRead ? std::to_string(reading.value) : text));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> parts = fuzz::partsOf(data, size, 2);
    const std::vector<std::string> items = itemsOf(parts[0]);
    requirePairs(parts[0], items, parts[1]);
    requireSensorCheck(parts[0], items, parts[1]);
    return 0;
}
