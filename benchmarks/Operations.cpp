#include "benchmarks/Operations.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "StringHandler.h"
#include "app/Models.h"
#include "benchmarks/Floor.h"

namespace bench {
namespace {

constexpr u32 kFirstRow = KEY_BRIGHTNESS;  // of the key-command map
constexpr int kModule = 1;

std::vector<u32> allKeys()
{
    std::vector<u32> keys;
#define SNS_KEY(name, key, ia, cmd, handler) keys.push_back(key);
#define SNS_STORED_KEY(name, key)
#include "SensorKeys.def"
    return keys;
}

u32 lastRow()
{
    return allKeys().back();
}

// count of them, spread evenly over the map, so that every count has the same mix of handlers.
std::vector<u32> spreadKeys(std::size_t count)
{
    const std::vector<u32> all = allKeys();
    std::vector<u32> keys;
    for (std::size_t i = 0; i < count; ++i)
    {
        keys.push_back(all[i * all.size() / count]);
    }
    return keys;
}

std::string pair(u32 key, u32 value)
{
    return "(" + std::to_string(key) + "," + std::to_string(value) + ")";
}

// The records of a scheme, as the library holds them.
std::vector<KeyVal> recordsOf(ISensorController& controller, int scheme)
{
    std::string pairs;
    controller.setParamScheme(scheme);
    controller.getAllParameters(pairs);
    std::vector<KeyVal> records(100);
    u32 count = 0;
    keyval_str2st(pairs, records.data(), count);
    records.resize(count);
    return records;
}

std::unique_ptr<BenchCamera> fullCamera()
{
    answerAsModule(kModule);
    return std::make_unique<BenchCamera>(generated(allKeys()));
}

// ---- one value -------------------------------------------------------------------------------------------------

using SetOne = std::function<void(ISensorController& controller, u32 value)>;

// A different value at each call.
Scenario changedValue(u32 key, SetOne set)
{
    Scenario scenario{};
    scenario.camera = fullCamera();
    CallScript scripts[2];
    for (u32 value = 0; value < 2; ++value)
    {
        scripts[value].test();  // the call itself
        sendRecord(scripts[value], key, value, {}, false);
    }
    ISensorController& controller = scenario.camera->controller();
    set(controller, 1);
    scenario.tests = scripts[0].tests();
    scenario.figure = [&controller, set, value = 1u]() mutable { set(controller, value ^= 1); };
    scenario.floor = [first = scripts[0], second = scripts[1], value = 1u]() mutable {
        ((value ^= 1) == 0 ? first : second).run();
    };
    return scenario;
}

SetOne byText(u32 key)
{
    return [texts = std::vector<std::string>{pair(key, 0), pair(key, 1)}](ISensorController& controller, u32 value) {
        controller.setParameters(texts[value], true);
    };
}

SetOne byNumber(u32 key)
{
    return [key](ISensorController& controller, u32 value) {
        controller.setParameter(static_cast<int>(key), static_cast<int>(value), true);
    };
}

Scenario unchangedValue(const SetOne& set)
{
    Scenario scenario{};
    scenario.camera = fullCamera();
    CallScript script;
    script.test();  // the call itself
    script.test();  // "ignore, ... is newest"
    ISensorController& controller = scenario.camera->controller();
    set(controller, 1);
    scenario.tests = script.tests();
    scenario.figure = [&controller, set] { set(controller, 1); };
    scenario.floor = [script] { script.run(); };
    return scenario;
}

// ---- switches --------------------------------------------------------------------------------------------------

// Scheme 0 with every value 0 and scheme 1 with every value 1; of the schedule keys, too.
void makeSchemesDiffer(ISensorController& controller)
{
    const std::vector<KeyVal> records = recordsOf(controller, 1);
    std::string ones;
    for (const KeyVal& record : records)
    {
        ones += pair(record.key, 1);
    }
    controller.setParameters(ones, true);
    std::string zeros;
    for (const KeyVal& record : records)
    {
        zeros += pair(record.key, 0);
    }
    controller.setParamScheme(0);
    controller.setParameters(zeros, true);
}

CallScript switchScript(const std::vector<KeyVal>& records)
{
    CallScript script;
    script.test();  // "switch_to()"
    for (const KeyVal& record : records)
    {
        if (record.key - KEY_SCHEME_ENABLE > KEY_SCHEME_END_MIN - KEY_SCHEME_ENABLE)
        {
            sendRecord(script, record.key, record.value, records, true);
        }
    }
    return script;
}

// To and fro between schemes 0 and 1, which differ in every value.
Scenario switchOfAll(std::unique_ptr<BenchCamera> camera, bool isFull)
{
    Scenario scenario{};
    scenario.camera = std::move(camera);
    ISensorController& controller = scenario.camera->controller();
    makeSchemesDiffer(controller);
    const CallScript toFirst = switchScript(recordsOf(controller, 0));
    const CallScript toSecond = switchScript(recordsOf(controller, 1));
    scenario.tests = toFirst.tests();
    scenario.figure = [&controller, isFull, scheme = 1]() mutable { controller.switch_to(scheme ^= 1, isFull); };
    scenario.floor = [toFirst, toSecond, scheme = 1]() mutable { ((scheme ^= 1) == 0 ? toFirst : toSecond).run(); };
    return scenario;
}

// Between schemes that hold the same values.
Scenario switchOfNone()
{
    Scenario scenario{};
    scenario.camera = fullCamera();
    ISensorController& controller = scenario.camera->controller();
    makeSchemesDiffer(controller);
    CallScript script;
    script.test();                                                   // "switch_to()"
    script.test(static_cast<int>(recordsOf(controller, 1).size()));  // "ignore, ... is newest"
    scenario.tests = script.tests();
    scenario.figure = [&controller] { controller.switch_to(1, false); };
    scenario.floor = [script] { script.run(); };
    return scenario;
}

Scenario switchOfSome(int count, bool isFull)
{
    answerWithoutDynamicCommands();
    const std::vector<u32> keys = spreadKeys(static_cast<std::size_t>(count));
    return switchOfAll(std::make_unique<BenchCamera>(generated(keys)), isFull);
}

// ---- reading ---------------------------------------------------------------------------------------------------

Scenario readAll()
{
    Scenario scenario{};
    scenario.camera = fullCamera();
    ISensorController& controller = scenario.camera->controller();
    const std::vector<KeyVal> records = recordsOf(controller, 0);
    CallScript script;
    script.call(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET);
    for (int i = 0; i < dynamicCommands().cmd_cnt; ++i)
    {
        const u32 cmd = dynamicCommands().cmd_list[i];
        u32 value = 0;
        controller.getKeyValFromCache(0, cmd, value);
        script.test();  // "before correct"
        script.call(cmd, IA_CMD_OPT_CORRECT_PARAM, {value});
        script.test();  // "after correct"
    }
    script.test();  // "current scheme"
    scenario.tests = script.tests();
    scenario.figure = [&controller] {
        std::string pairs;
        controller.getAllParameters(pairs);
    };
    scenario.floor = [script, records] {
        script.run();
        std::string pairs;
        appendPairs(pairs, records);
    };
    return scenario;
}

// Every fourth key of the map.
Scenario readTwenty()
{
    constexpr std::size_t kKeys = 20;
    Scenario scenario{};
    scenario.camera = fullCamera();
    ISensorController& controller = scenario.camera->controller();
    std::vector<KeyVal> records;
    std::string list;
    const std::vector<u32> keys = allKeys();
    for (std::size_t i = 0; i < kKeys; ++i)
    {
        records.push_back({keys[4 * i], 0});
        controller.getKeyValFromCache(0, keys[4 * i], records.back().value);
        list += (i == 0 ? "(" : ",") + std::to_string(keys[4 * i]);
    }
    const std::string inner = list.substr(1);
    list += ")";
    CallScript script;
    script.test(kKeys);  // "p_nKey" for each
    scenario.tests = script.tests();
    scenario.figure = [&controller, list] {
        std::string pairs;
        controller.getParameters(list, pairs);
    };
    scenario.floor = [script, records, inner] {
        std::vector<std::string> keyTexts;
        StringHandler::split(inner, ",", keyTexts);  // the host's
        for (const std::string& text : keyTexts)
        {
            const volatile long key = std::strtol(text.c_str(), nullptr, 10);
            static_cast<void>(key);
        }
        script.run();
        std::string pairs;
        appendPairs(pairs, records);
    };
    return scenario;
}

// ---- documents -------------------------------------------------------------------------------------------------

std::unique_ptr<BenchCamera> shippedCamera(const std::string& model)
{
    Documents documents = shipped(model);
    answerAsModule(documents.module.getModuleId());
    return std::make_unique<BenchCamera>(std::move(documents));
}

// The shipped model with the longest merged style.
std::string largestModel()
{
    static const std::string model = [] {
        std::string largest;
        std::size_t length = 0;
        for (const char* candidate : app::kModelNames)
        {
            const std::unique_ptr<BenchCamera> camera = shippedCamera(candidate);
            const std::size_t size = readFile(kMergedStyleFile).size();
            largest = size > length ? candidate : largest;
            length = std::max(length, size);
        }
        return largest;
    }();
    return model;
}

Scenario styleForUi()
{
    Scenario scenario{};
    scenario.camera = shippedCamera(largestModel());
    ISensorController& controller = scenario.camera->controller();
    const std::string style = readFile(kMergedStyleFile);
    const RewriteScript rewrite(style);
    auto served = std::make_shared<TiXmlDocument>();
    parse(*served, controller.getUIStyleFile());
    scenario.tests = rewrite.tests() + 1;  // and the one that shows the document
    scenario.figure = [&controller] { controller.getUIStyleFile(); };
    // The text stays for the next call, and the caller gets a copy.
    scenario.floor = [style, rewrite, served, text = std::string()]() mutable {
        {
            TiXmlDocument document;
            parse(document, style);
            rewrite.run();
            text = print(*served);
        }
        existenceTest();
        const std::string copy = text;
    };
    return scenario;
}

// ---- start-up and saving ---------------------------------------------------------------------------------------

// What the first switch of a start sends: nothing is known of the scheme before, and that is said for each record.
CallScript firstSwitchScript(const std::vector<KeyVal>& records)
{
    CallScript script;
    script.test();  // "auto switch_to"
    script.test();  // "switch_to()"
    for (const KeyVal& record : records)
    {
        script.test();  // "can not find val, invalid sheme"
        if (record.key - KEY_SCHEME_ENABLE > KEY_SCHEME_END_MIN - KEY_SCHEME_ENABLE)
        {
            sendRecord(script, record.key, record.value, records, true);
        }
    }
    return script;
}

// The documents and files of a start on a camera that was in use before.
struct StartFloor
{
    Documents documents;
    std::string merged;
    std::shared_ptr<TiXmlDocument> mergedTree = std::make_shared<TiXmlDocument>();
    std::string served;
    std::shared_ptr<TiXmlDocument> servedTree = std::make_shared<TiXmlDocument>();
    int rules;
    std::shared_ptr<RewriteScript> rewrite;
    CallScript firstSwitch;
    std::size_t schemeBytes;
    int schemes;

    explicit StartFloor(BenchCamera& camera) : documents(camera.documents()), merged(readFile(kMergedStyleFile))
    {
        const std::vector<KeyVal> records = recordsOf(camera.controller(), 0);
        parse(*mergedTree, merged);
        rewrite = std::make_shared<RewriteScript>(merged);
        getDnaStyle(g_stSysConf.szUIStyle, served);
        parse(*servedTree, served);
        rules = testsOfRules(documents.diversity, documents.module.getDetail());
        firstSwitch = firstSwitchScript(records);
        schemeBytes = records.size() * sizeof(KeyVal);
        schemes = static_cast<int>(g_stSysConf.nSchemeSum);
    }

    int tests() const
    {
        const int texts = 3;  // "open file": style, diversity, merged style
        const int mergedIsShown = 1;
        const int parameters = 1;  // "m_nKeyValNum"
        const int version = 1;     // "open file"
        const int success = 1;
        return texts + rules + mergedIsShown + rewrite->tests() + parameters + version + firstSwitch.tests() + success;
    }

    std::string load(const std::string& path, std::size_t bytes, int lengths) const
    {
        for (int i = 0; i < lengths; ++i)
        {
            askLength(path);
        }
        existenceTest();
        return readWhole(path, bytes);
    }

    void merge() const
    {
        TiXmlDocument style;
        parse(style, load(styleFile(documents), documents.style.size(), 2));
        TiXmlDocument diversity;
        parse(diversity, load(diversityFile(documents), documents.diversity.size(), 2));
        existenceTests(rules);
        replaceFile(kMergedStyleFile, print(*mergedTree));
        print(*mergedTree);
        existenceTest();
        load(kMergedStyleFile, merged.size(), 1);
    }

    void factoryValues() const
    {
        TiXmlDocument style;
        parse(style, merged);
        rewrite->run();
        print(*servedTree);
        TiXmlDocument adapted;
        parse(adapted, served);
        existenceTest();
    }

    void files() const
    {
        load(kVersionFile, sizeof(u32), 0);
        for (int i = 0; i < schemes; ++i)
        {
            KSFile::exists(schemeFile(i).c_str());
            readWhole(schemeFile(i), schemeBytes);
        }
        const u32 version = 8;
        replaceFile(kVersionFile, std::string(reinterpret_cast<const char*>(&version), sizeof version));
    }

    void run() const
    {
        MachineInfo machine;
        SystemInfoParser::parseMachineInfo(kMachineInfoFile, machine);
        merge();
        factoryValues();
        SystemInfoParser::parseMachineInfo(kMachineInfoFile, machine);
        files();
        firstSwitch.run();
        existenceTest();
    }
};

Scenario startUp()
{
    Scenario scenario{};
    scenario.camera = shippedCamera(largestModel());
    BenchCamera& camera = *scenario.camera;
    const StartFloor floor(camera);
    camera.stop();
    scenario.tests = floor.tests();
    scenario.before = [&camera] { camera.prepare(); };
    scenario.figure = [&camera] { camera.controller().init(camera.documents().module); };
    scenario.after = [&camera] { camera.stop(); };
    scenario.floor = [floor] { floor.run(); };
    return scenario;
}

Scenario saving()
{
    Scenario scenario{};
    scenario.camera = fullCamera();
    ISensorController& controller = scenario.camera->controller();
    controller.setParameters("(8001,0)(8002,0)(8003,24)(8004,0)", true);
    const std::vector<KeyVal> records = recordsOf(controller, 0);
    const std::string bytes(reinterpret_cast<const char*>(records.data()), records.size() * sizeof(KeyVal));
    scenario.tests = 0;
    scenario.figure = [&controller] {
        if (controller.flush() != SNS_SUCCESS)
        {
            std::abort();
        }
    };
    scenario.floor = [bytes] { replaceFile(schemeFile(0), bytes); };
    return scenario;
}

constexpr double kTarget = 1.25;  // of the floor; below it simple code is worth more than speed
constexpr double kStartSeconds = 0.020;

std::vector<Operation> makeOperations()
{
    constexpr Measure cpu = Measure::processorTime;
    constexpr Measure real = Measure::realTime;
    std::vector<Operation> all = {
        {"text", "one changed value, by text", cpu, kTarget, 0, 0,
         [] { return changedValue(kFirstRow, byText(kFirstRow)); }},
        {"number", "one changed value, by setParameter", cpu, kTarget, 0, 0,
         [] { return changedValue(kFirstRow, byNumber(kFirstRow)); }},
        {"last", "the same, last row of the map", cpu, kTarget, 0, 0,
         [] { return changedValue(lastRow(), byNumber(lastRow())); }},
        {"unchanged", "one unchanged value, by text", cpu, kTarget, 0, 0,
         [] { return unchangedValue(byText(kFirstRow)); }},
        {"unchanged-last", "the same, last row of the map", cpu, kTarget, 0, 0,
         [] { return unchangedValue(byText(lastRow())); }},
        {"full", "full switch, all keys", cpu, kTarget, 0, 0, [] { return switchOfAll(fullCamera(), true); }},
        {"difference", "difference switch, all keys differ", cpu, kTarget, 0, 0,
         [] { return switchOfAll(fullCamera(), false); }},
        {"same", "difference switch, all keys, none differs", cpu, kTarget, 0, 0, [] { return switchOfNone(); }},
        {"all", "getAllParameters, all keys", cpu, kTarget, 0, 0, [] { return readAll(); }},
        {"twenty", "getParameters, 20 keys", cpu, kTarget, 0, 0, [] { return readTwenty(); }},
        {"style", "getUIStyleFile, largest shipped style", cpu, kTarget, 0, 0, [] { return styleForUi(); }},
        {"start", "init, processor time", cpu, kTarget, 0, 0, [] { return startUp(); }},
        {"start_real", "init, real time", real, kTarget, kStartSeconds, 0, [] { return startUp(); }},
        {"flush", "flush, processor time", cpu, 0, 0, 0, [] { return saving(); }},
        {"flush_real", "flush, real time", real, 0, 0, 0, [] { return saving(); }},
    };
    for (const int keys : {10, 20, 40, 80})
    {
        all.push_back({"grow_full", "full switch", cpu, 0, 0, keys, [keys] { return switchOfSome(keys, true); }});
        all.push_back({"grow_difference", "difference switch, all keys differ", cpu, 0, 0, keys,
                       [keys] { return switchOfSome(keys, false); }});
    }
    return all;
}

}  // namespace

const std::vector<Operation>& operations()
{
    static const std::vector<Operation> all = makeOperations();
    return all;
}

std::string nameOf(const Operation& operation)
{
    return operation.name + (operation.keys > 0 ? "-" + std::to_string(operation.keys) : "");
}

void requireSameServiceCalls(const Operation& operation, const Scenario& scenario)
{
    const auto callsOf = [&](bool isFigure) {
        if (isFigure && scenario.before)
        {
            scenario.before();
        }
        std::vector<ServiceCall> calls;
        {
            const RecordedCalls recorded;
            (isFigure ? scenario.figure : scenario.floor)();
            calls = recorded.calls();
        }
        if (isFigure && scenario.after)
        {
            scenario.after();
        }
        return calls;
    };
    const std::vector<ServiceCall> figure = callsOf(true);
    const std::vector<ServiceCall> floor = callsOf(false);
    if (!(figure == floor))
    {
        std::fprintf(stderr, "%s: the library made %zu calls of the service and its floor %zu, or not the same ones\n",
                     operation.name, figure.size(), floor.size());
        std::exit(EXIT_FAILURE);
    }
}

}  // namespace bench
