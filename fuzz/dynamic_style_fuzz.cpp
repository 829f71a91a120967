#include <algorithm>
#include <string>
#include <vector>

#include "SensorFile.h"
#include "SensorFlags.h"
#include "config/XmlCheck.h"
#include "fuzz/Require.h"
#include "fuzz/ScriptedService.h"
#include "fuzz/TextParts.h"
#include "fuzz/XmlTree.h"

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

bool isAllowed(const ia_dynamic_params_attr_st& allowed, int index)
{
    const int* const end = allowed.item + std::clamp<int>(allowed.items_cnt, 0, kDynamicItemsMax);
    return std::find(allowed.item, end, index) != end;
}

// False at a choice item without "index": the rest is left as it is.
bool rewriteControl(TiXmlElement& control, const ia_dynamic_params_attr_st& allowed)
{
    control.SetAttribute("value", allowed.default_value);
    TiXmlElement* next = nullptr;
    for (TiXmlElement* item = control.FirstChildElement(); item != nullptr; item = next)
    {
        next = item->NextSiblingElement();
        const char* const index = item->Attribute("index");
        if (index == nullptr)
        {
            return false;
        }
        if (!isAllowed(allowed, fuzz::decimalOf(index)))
        {
            control.RemoveChild(item);
        }
    }
    return true;
}

bool rewriteControls(TiXmlElement& element, int cmd, const ia_dynamic_params_attr_st& allowed)
{
    const char* const id = element.Attribute("id");
    if (id != nullptr && fuzz::decimalOf(id) == cmd)
    {
        return rewriteControl(element, allowed);
    }
    TiXmlElement* child = element.FirstChildElement();
    while (child != nullptr && rewriteControls(*child, cmd, allowed))
    {
        child = child->NextSiblingElement();
    }
    return child == nullptr;
}

// Of the two shutters the document's own value survives, where it is allowed and not 100.
void keepStored(const TiXmlElement& root, int cmd, ia_dynamic_params_attr_st& allowed)
{
    int stored = 0;
    for (const TiXmlElement* control : fuzz::controlsWithId(&root, cmd))
    {
        const char* const value = control->Attribute("value");
        stored = value == nullptr ? stored : fuzz::decimalOf(value);
    }
    if (stored != 100 && isAllowed(allowed, stored))
    {
        allowed.default_value = stored;
    }
}

// Where wide dynamic range is shown, the last control with id 0 goes.
void removeHidden(TiXmlElement& root)
{
    const std::vector<const TiXmlElement*> controls = fuzz::controlsWithId(&root, 0);
    TiXmlElement* const last = controls.empty() ? nullptr : const_cast<TiXmlElement*>(controls.back());
    if (last != nullptr && last != &root)
    {
        last->Parent()->RemoveChild(last);
    }
}

// The rewrite, taken at its word.
void rewriteByDefinition(TiXmlElement& root, bool isWdrShown, fuzz::ScriptedService& service)
{
    ia_dynamic_params_cmds_st list = {};
    service.call(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, &list);
    for (int i = 0; i < std::min<int>(list.cmd_cnt, kDynamicCmdsMax); ++i)
    {
        const int cmd = static_cast<int>(list.cmd_list[i]);
        ia_dynamic_params_attr_st allowed = {};
        if (service.call(list.cmd_list[i], IA_CMD_OPT_GET_PARAM_RNAGE, &allowed) != 0)
        {
            continue;
        }
        if (cmd == IA_CMD_MAX_SHUTTER || cmd == IA_CMD_FIX_SHUTTER)
        {
            keepStored(root, cmd, allowed);
        }
        rewriteControls(root, cmd, allowed);
    }
    if (isWdrShown)
    {
        removeHidden(root);
    }
}

void requireRewritten(TiXmlDocument& style, const std::string& text, bool isWdrShown, fuzz::ScriptedService& service)
{
    if (style.RootElement() != nullptr)
    {
        rewriteByDefinition(*style.RootElement(), isWdrShown, service);
    }
    // A control that has as many attributes as are read may have got a "value" more.
    if (text.empty() && fuzz::shapeOf(style).attributes > config::kXmlAttributesMax)
    {
        return;
    }
    FUZZ_REQUIRE(!text.empty() || style.NoChildren());
    TiXmlDocument document;
    fuzz::parse(text, document);
    FUZZ_REQUIRE(fuzz::outlineBelow(document) == fuzz::outlineBelow(style));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<std::string> parts = fuzz::partsOf(data, size, 3);
    const std::string style = parts[2].c_str();
    fuzz::ScriptedService service(parts[1], fuzz::ScriptedService::Mood::consistent);
    const bool isWdrShown = parts[0] == "1";
    setshowWDRFalg(isWdrShown);
    const std::string text = rewritten(style, service);
    TiXmlDocument document;
    if (!config::isSafeXml(style) || !fuzz::parse(style, document))
    {
        FUZZ_REQUIRE(text.empty());
    }
    else if (!fuzz::hasUnprintableDeclaration(document))
    {
        requireRewritten(document, text, isWdrShown, service);
    }
    return 0;
}
