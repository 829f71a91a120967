#include <algorithm>
#include <string>
#include <vector>

#include "Require.h"
#include "ScriptedService.h"
#include "SensorFile.h"
#include "SensorFlags.h"
#include "TextParts.h"
#include "XmlCheck.h"
#include "XmlTree.h"

// A style rewritten to what the service allows.
// Input: "0" or "1", whether wide dynamic range is shown %% the service's answers %% the style.

namespace {

std::string rewritten(const std::string& style, fuzz::ScriptedService& service)
{
    service.watch([](u32 cmd, int opt, const void*) {
        FUZZ_REQUIRE(opt == IA_CMD_OPT_GET_PARAM_RNAGE ||
                     (opt == IA_CMD_OPT_GET && cmd == IA_CMD_DYNAMIC_PARAMS_CMDS_GET));
    });
    std::string text = "before";
    FUZZ_REQUIRE(getDnaStyle(fuzz::tight(style).get(), text) == SNS_SUCCESS);
    FUZZ_REQUIRE(text.empty() || config::isSafeXml(text));
    return text;
}

bool hasChoiceWithoutIndex(const TiXmlElement& control)
{
    for (const TiXmlElement* item = control.FirstChildElement(); item != nullptr; item = item->NextSiblingElement())
    {
        if (item->Attribute("index") == nullptr)
        {
            return true;
        }
    }
    return false;
}

// The rewrite of a command's controls stops at a choice item without "index", so that what stands behind it is as it
// was. A later command may take that item away with what it stands in: the style before the rewrite decides.
bool isStopped(const TiXmlElement& style, int cmd)
{
    const char* const id = style.Attribute("id");
    if (id != nullptr && fuzz::decimalOf(id) == cmd && hasChoiceWithoutIndex(style))
    {
        return true;
    }
    const TiXmlElement* child = style.FirstChildElement();
    while (child != nullptr && !isStopped(*child, cmd))
    {
        child = child->NextSiblingElement();
    }
    return child != nullptr;
}

bool isAllowed(const ia_dynamic_params_attr_st& allowed, int index)
{
    const int* const end = allowed.item + std::clamp<int>(allowed.items_cnt, 0, kDynamicItemsMax);
    return std::find(allowed.item, end, index) != end;
}

void requireRewritten(const TiXmlElement& control, int cmd, const ia_dynamic_params_attr_st& allowed)
{
    const char* const value = control.Attribute("value");
    FUZZ_REQUIRE(value != nullptr);
    // Of the two shutters the document's own value survives, where it is allowed.
    const bool isShutter = cmd == IA_CMD_MAX_SHUTTER || cmd == IA_CMD_FIX_SHUTTER;
    const int preselected = fuzz::decimalOf(value);
    FUZZ_REQUIRE(preselected == allowed.default_value || (isShutter && isAllowed(allowed, preselected)));
    for (const TiXmlElement* item = control.FirstChildElement(); item != nullptr; item = item->NextSiblingElement())
    {
        FUZZ_REQUIRE(isAllowed(allowed, fuzz::decimalOf(item->Attribute("index"))));
    }
}

std::vector<int> commandsOf(fuzz::ScriptedService& service)
{
    ia_dynamic_params_cmds_st list = {};
    service.call(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list);
    std::vector<int> commands;
    for (int i = 0; i < std::min<int>(list.cmd_cnt, kDynamicCmdsMax); ++i)
    {
        commands.push_back(static_cast<int>(list.cmd_list[i]));
    }
    return commands;
}

void requireRewritten(const TiXmlDocument& after, int cmd, fuzz::ScriptedService& service)
{
    ia_dynamic_params_attr_st allowed = {};
    service.call(static_cast<u32>(cmd), IA_CMD_OPT_GET_PARAM_RNAGE, &allowed);
    for (const TiXmlElement* control : fuzz::controlsWithId(after.RootElement(), cmd))
    {
        requireRewritten(*control, cmd, allowed);
    }
}

// What is allowed stays allowed: another rewrite changes nothing.
void requireSettled(const std::string& text, const TiXmlDocument& once, fuzz::ScriptedService& service)
{
    TiXmlDocument twice;
    fuzz::parse(rewritten(text, service), twice);
    FUZZ_REQUIRE(fuzz::outlineOf(once) == fuzz::outlineOf(twice));
}

void requireRewritten(const TiXmlDocument& before, const std::string& text, fuzz::ScriptedService& service)
{
    TiXmlDocument after;
    fuzz::parse(text, after);
    bool isWhole = true;
    for (const int cmd : commandsOf(service))
    {
        if (before.RootElement() != nullptr && isStopped(*before.RootElement(), cmd))
        {
            isWhole = false;
            continue;
        }
        requireRewritten(after, cmd, service);
    }
    if (isWhole)
    {
        requireSettled(text, after, service);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> parts = fuzz::partsOf(data, size, 3);
    const std::string style = parts[2].c_str();
    fuzz::ScriptedService service(parts[1], fuzz::ScriptedService::Mood::consistent);
    setshowWDRFalg(parts[0] == "1");
    const std::string text = rewritten(style, service);
    setshowWDRFalg(false);  // each rewrite takes one control with it
    TiXmlDocument document;
    if (config::isSafeXml(style) && fuzz::parse(style, document) && !fuzz::hasUnprintableDeclaration(document))
    {
        // A control may have as many attributes as are read, and get a "value" more.
        const bool isFull = fuzz::shapeOf(document).attributes == config::kXmlAttributesMax;
        FUZZ_REQUIRE(!text.empty() || document.NoChildren() || isFull);
        requireRewritten(document, text, service);
    }
    return 0;
}
