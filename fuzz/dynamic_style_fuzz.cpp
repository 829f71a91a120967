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

// The rewrite stops at a choice item without "index", so that what stands behind it is as it was.
bool isStopped(const std::vector<const TiXmlElement*>& controls)
{
    return std::any_of(controls.begin(), controls.end(), [](const TiXmlElement* control) {
        for (const TiXmlElement* item = control->FirstChildElement(); item != nullptr;
             item = item->NextSiblingElement())
        {
            if (item->Attribute("index") == nullptr)
            {
                return true;
            }
        }
        return false;
    });
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

void requireRewritten(const std::string& text, fuzz::ScriptedService& service)
{
    TiXmlDocument document;
    fuzz::parse(text, document);
    ia_dynamic_params_cmds_st commands = {};
    service.call(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &commands);
    for (int i = 0; i < std::min<int>(commands.cmd_cnt, kDynamicCmdsMax); ++i)
    {
        const int cmd = static_cast<int>(commands.cmd_list[i]);
        const std::vector<const TiXmlElement*> controls = fuzz::controlsWithId(document.RootElement(), cmd);
        ia_dynamic_params_attr_st allowed = {};
        service.call(static_cast<u32>(cmd), IA_CMD_OPT_GET_PARAM_RNAGE, &allowed);
        for (const TiXmlElement* control : controls)
        {
            if (!isStopped(controls))
            {
                requireRewritten(*control, cmd, allowed);
            }
        }
    }
}

// What is allowed stays allowed: another rewrite changes nothing.
void requireSettled(const std::string& text, fuzz::ScriptedService& service)
{
    TiXmlDocument once;
    TiXmlDocument twice;
    fuzz::parse(text, once);
    fuzz::parse(rewritten(text, service), twice);
    FUZZ_REQUIRE(fuzz::outlineOf(once) == fuzz::outlineOf(twice));
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
        FUZZ_REQUIRE(!text.empty() || document.NoChildren());
        requireRewritten(text, service);
        requireSettled(text, service);
    }
    return 0;
}
