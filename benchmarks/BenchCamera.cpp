#include "benchmarks/BenchCamera.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/Sandbox.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr char kShare[] = SENSORDLL_SOURCE_DIR "/share/";

[[noreturn]] void fail(const std::string& message)
{
    std::fprintf(stderr, "%s\n", message.c_str());
    std::exit(EXIT_FAILURE);
}

void emptyTree()
{
    if (!support::insidePrivateTree())
    {
        fail("not inside the private file tree: nothing is touched");
    }
    fs::remove_all("/mnt/mtd");
    fs::remove_all(kModuleFolder);
    fs::remove(kMergedStyleFile);
    for (const char* folder : kFolders)
    {
        fs::create_directories(folder);
    }
}

ModuleConfigure parsedModule(const std::string& model)
{
    writeFile(kModuleConfigFile, readFile(kShare + ("models/" + model) + "/moduleConfig.xml"));
    MachineInfo machine;
    std::vector<ModuleConfigure> modules;
    if (!SystemInfoParser::parseMachineInfo(kMachineInfoFile, machine) ||
        !ModuleConfigureParser::parse(kModuleConfigFile, machine.getHardwareModel(), machine.getHardwareCode(),
                                      modules))
    {
        fail("the documents of " + model + " do not name a module");
    }
    return modules.at(0);
}

std::string parameterElement(u32 key)
{
    const std::string id = std::to_string(key);
    return "        <number id=\"" + id + "\" value=\"0\" text=\"key_" + id + "\"/>\n";
}

}  // namespace

std::string readFile(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    if (!stream)
    {
        fail("cannot read " + path);
    }
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void writeFile(const std::string& path, const std::string& bytes)
{
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream << bytes;
    stream.close();
    if (!stream)
    {
        fail("cannot write " + path);
    }
}

Documents shipped(const std::string& model)
{
    emptyTree();
    Documents documents;
    documents.model = model;
    documents.isDome = model == "dome";
    documents.machineInfo = readFile(kShare + ("models/" + model) + "/machineinfo.ini");
    documents.style = readFile(std::string(kShare) + "style/" + (documents.isDome ? "Style_dome.xml" : "Style.xml"));
    documents.diversity = readFile(std::string(kShare) + "styleDiversity/" +
                                   (documents.isDome ? "StyleDiversity_dome.xml" : "StyleDiversity.xml"));
    writeFile(kMachineInfoFile, documents.machineInfo);
    documents.module = parsedModule(model);
    return documents;
}

Documents generated(const std::vector<u32>& keys)
{
    Documents documents;
    documents.model = "generated";
    documents.isDome = false;
    documents.machineInfo = "DeviceType=1\n";
    documents.style = "<style>\n    <tab key=\"all\">\n";
    for (u32 key = KEY_SCHEME_ENABLE; key <= KEY_SCHEME_END_MIN; ++key)
    {
        documents.style += parameterElement(key);
    }
    for (const u32 key : keys)
    {
        documents.style += parameterElement(key);
    }
    documents.style += "    </tab>\n</style>\n";
    documents.diversity = "<rule never=\"1\"/>\n";
    documents.module.setModuleId(1);
    documents.module.setDetail("(max_scheme=4)");
    return documents;
}

std::string styleFile(const Documents& documents)
{
    return documents.isDome ? kDomeStyleFile : kStyleFile;
}

std::string diversityFile(const Documents& documents)
{
    return documents.isDome ? kDomeDiversityFile : kDiversityFile;
}

// ---- clock ---------------------------------------------------------------------------------------------------

std::tm ClockWithoutPauses::localTime() const
{
    std::tm noon{};
    noon.tm_hour = 12;
    return noon;
}

host::Span ClockWithoutPauses::monotonic() const
{
    return host::Span(0);
}

void ClockWithoutPauses::wait(host::Span)
{
    if (std::this_thread::get_id() == maker_)
    {
        return;
    }
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [] { return host::stopRequested(); });
}

void ClockWithoutPauses::wake()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    changed_.notify_all();
}

// ---- camera --------------------------------------------------------------------------------------------------

BenchCamera::BenchCamera(Documents documents, std::shared_ptr<host::Clock> clock) : documents_(std::move(documents))
{
    emptyTree();
    writeFile(kMachineInfoFile, documents_.machineInfo);
    writeFile(styleFile(documents_), documents_.style);
    writeFile(diversityFile(documents_), documents_.diversity);
    host::setClock(std::move(clock));
    start();
    controller_->setParamMode(0);
    controller_->setParamScheme(0);
}

BenchCamera::~BenchCamera()
{
    stop();
    host::setClock(nullptr);
}

void BenchCamera::prepare()
{
    controller_ = std::make_unique<ISensorController>();
    controller_->setVideoStreamModule(&video_);
}

void BenchCamera::start()
{
    prepare();
    controller_->init(documents_.module);
}

void BenchCamera::stop()
{
    if (controller_)
    {
        controller_->uinit();
        controller_.reset();
    }
}

}  // namespace bench
