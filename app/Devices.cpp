#include "app/Devices.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "app/Failure.h"
#include "app/Models.h"
#include "app/Output.h"
#include "app/box/DiskFiles.h"
#include "app/box/Provision.h"
#include "app/json/Json.h"
#include "camera/Descriptor.h"
#include "camera/TextFile.h"
#include "services/linux/DeviceList.h"
#include "services/linux/Generations.h"
#include "services/linux/Identity.h"
#include "services/linux/LocalDevices.h"
#include "services/linux/Service.h"

namespace app {
namespace {

using devices::Board;
using devices::CameraNode;
using services::Standing;

constexpr char kBoardFile[] = "/board";
constexpr char kLightFile[] = "/light";
constexpr std::size_t kBoardMax = 64 * 1024;

constexpr auto kReadyLimit = std::chrono::seconds(10);
constexpr auto kLook = std::chrono::milliseconds(250);

std::string folderOf(const std::string& identity)
{
    return defaultStateFolder("devices/" + identity);
}

std::optional<Board> rememberedBoard(const std::string& stateFolder)
{
    const std::optional<std::string> text = camera::readFile(stateFolder + kBoardFile, kBoardMax);
    return text ? std::make_optional(devices::parseBoard(*text)) : std::nullopt;
}

bool isRemembered(const std::string& identity, const std::string& stateFolder)
{
    const std::optional<Board> board = rememberedBoard(stateFolder);
    return board && board->camera == identity;
}

// The identity of what somebody calls so. One that is not plugged in is known by its folder.
std::string identityOf(const std::string& name, const std::string& stateFolder)
{
    try
    {
        return devices::chooseCamera(devices::findCameras(), name).identity;
    }
    catch (const std::runtime_error&)
    {
        const bool isPlainName = name.find('/') == std::string::npos && name[0] != '.';
        if (isPlainName && (isRemembered(name, stateFolder) || isRemembered(name, folderOf(name))))
        {
            return name;
        }
        throw;
    }
}

Json jsonOf(const devices::ListedCamera& listed)
{
    const CameraNode& camera = listed.camera;
    Json keys = Json::array();
    for (const devices::ListedKey& key : listed.keys)
    {
        keys.push_back({{"key", key.key}, {"control", key.control}, {"values", key.values}});
    }
    return {
        {"identity", camera.identity}, {"node", camera.node},       {"name", camera.name},   {"driver", camera.driver},
        {"serial", camera.serial},     {"problem", listed.problem}, {"users", listed.users}, {"keys", keys},
        {"others", listed.others}};
}

Json jsonOf(const devices::DeviceList& list)
{
    Json cameras = Json::array();
    for (const devices::ListedCamera& camera : list.cameras)
    {
        cameras.push_back(jsonOf(camera));
    }
    Json lights = Json::array();
    for (const devices::FoundSensor& light : list.lights)
    {
        lights.push_back({{"name", light.name}, {"folder", light.folder}});
    }
    Json lamps = Json::array();
    for (const devices::ListedLamp& lamp : list.lamps)
    {
        lamps.push_back({{"name", lamp.name}, {"greatest", lamp.greatest}});
    }
    Json chips = Json::array();
    for (const devices::ListedChip& listed : list.chips)
    {
        chips.push_back({{"node", listed.chip.node},
                         {"label", listed.chip.label},
                         {"lines", listed.chip.lines},
                         {"problem", listed.problem}});
    }
    return {{"ok", true}, {"cameras", cameras}, {"lights", lights}, {"lamps", lamps}, {"chips", chips}};
}

// All else that documents are made of, a generation remembers.
bool hasSameLampsAndFilter(const Board& before, const Board& board)
{
    Board same = before;
    same.lamps = board.lamps;
    same.filter = board.filter;
    return devices::textOf(same) == devices::textOf(before);
}

// On its way, or kept from it: it may be applied in a moment.
bool isOpen(Standing standing)
{
    return standing == Standing::waiting || standing == Standing::busy || standing == Standing::stalled ||
           standing == Standing::lost;
}

}  // namespace

int listDevices(const DeviceListOptions& options, bool json)
{
    Answers answers(STDOUT_FILENO);
    if (!options.identityOf.empty())
    {
        const std::string identity = devices::chooseCamera(devices::findCameras(), options.identityOf).identity;
        answers.print(json ? jsonLine({{"ok", true}, {"identity", identity}}) : identity + "\n");
    }
    else
    {
        const devices::DeviceList list = devices::listDevices();
        answers.print(json ? jsonLine(jsonOf(list)) : devices::textOf(list));
    }
    return answers.status(kExitOk);
}

DeviceCamera::DeviceCamera(const std::optional<DeviceOptions>& named, const std::string& stateFolder)
    : named_(named),
      stateFolder_(stateFolder)
{
    if (named_ && !named_->boardFile.empty())
    {
        try
        {
            written_ = devices::parseBoard(camera::readExistingFile(named_->boardFile, kBoardMax));
        }
        catch (const std::runtime_error& error)
        {
            throw Failure(named_->boardFile + ": " + error.what());
        }
    }
    else if (named_)
    {
        written_.camera = named_->camera;
    }
    if (named_)
    {
        written_.camera = identityOf(written_.camera, stateFolder_);
    }
    if (stateFolder_.empty())
    {
        stateFolder_ = folderOf(written_.camera);
    }
}

Board DeviceCamera::boardFor(const StateFolder& state) const
{
    const std::optional<Board> remembered = rememberedBoard(state.path());
    if (!remembered && !named_)
    {
        throw Failure(state.path() + " holds no device's camera yet; name the device with --device or --board");
    }
    Board board = remembered.value_or(written_);
    if (!named_)
    {
        return board;
    }
    if (board.camera != written_.camera)
    {
        throw Failure(state.path() + " holds the camera " + board.camera + "; " + written_.camera +
                      " needs a folder of its own (--state DIR)");
    }
    if (!named_->boardFile.empty())
    {
        return written_;
    }
    board.light = named_->light.value_or(board.light);
    for (const auto& [control, led] : named_->lamps)
    {
        board.lamps[control] = led;
    }
    board.filter = named_->filter ? named_->filter : board.filter;
    board.schemesByLight = named_->schemesByLight.value_or(board.schemesByLight);
    board.others = named_->others.value_or(board.others);
    devices::checkBoard(board);
    return board;
}

void DeviceCamera::bringUp(StateFolder& state)
{
    const Board board = boardFor(state);
    const std::optional<Board> remembered = rememberedBoard(state.path());
    const bool isOther = remembered && !hasSameLampsAndFilter(*remembered, board);
    source_ = std::make_unique<devices::LocalDevices>(board);
    makeFolders(state.path() + "/tmp");
    std::optional<devices::Description> description;
    try
    {
        description = devices::describe(*source_, board);
    }
    catch (const std::runtime_error& error)
    {
        const std::optional<devices::Generation> generation = devices::generationInForce(state.path());
        if (!generation)
        {
            throw;
        }
        notice(std::string(error.what()) + "; what is set meanwhile is applied when it is there");
        if (isOther || !devices::isMadeOf(*generation, board))
        {
            notice(
                "the board has changed; keys follow it once all of its devices are there and the camera starts again");
        }
    }
    if (description)
    {
        const std::string share =
            shareFolder(std::filesystem::path(programFile()).parent_path().parent_path().string());
        for (const std::string& line : devices::bringUp(state.path(), share, *description, board).report)
        {
            notice(line);
        }
    }
    const std::string text = devices::textOf(board);
    if (camera::readFile(state.path() + kBoardFile, kBoardMax) != text)
    {
        replaceFile(state.path() + kBoardFile, text);
    }
    if (!state.model())
    {
        state.rememberModel(kDeviceModel);
    }
}

services::Journal& deviceService(const std::string& stateFolder, std::unique_ptr<devices::DeviceSource> source)
{
    const std::optional<devices::Generation> generation = devices::generationInForce(stateFolder);
    if (!generation)
    {
        throw Failure(stateFolder + " holds no documents of a device");
    }
    const Board board = devices::parseBoard(camera::readExistingFile(stateFolder + kBoardFile, kBoardMax));
    static devices::DeviceSource* const plugged = source.release();
    static devices::Service* const service = new devices::Service(generation->description, board, *plugged);
    static services::Journal* const journal = new services::Journal(*service);
    if (!devices::isMadeOf(*generation, board))
    {
        service->callDocumentsOld();
    }
    if (!board.light.empty())
    {
        service->recordLight(stateFolder + kLightFile);
    }
    services::setServiceInForce(journal);
    return *journal;
}

DeviceWatch::DeviceWatch(const services::Device& device, camera::Events& events, std::function<void()> onOtherControls)
    : device_(device),
      events_(events),
      onOtherControls_(std::move(onOtherControls)),
      subscription_(events_.subscribe([this](const camera::Event& event) {
          if (event.kind == camera::Event::Kind::device)
          {
              const std::lock_guard<std::mutex> lock(mutex_);
              isToLook_ = true;
              changed_.notify_all();
          }
      })),
      thread_([this] { run(); })
{
}

DeviceWatch::~DeviceWatch()
{
    events_.unsubscribe(subscription_);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isEnding_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

bool DeviceWatch::hasOtherControls() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return hasOtherControls_;
}

void DeviceWatch::run()
{
    const auto limit = std::chrono::steady_clock::now() + kReadyLimit;
    std::unique_lock<std::mutex> lock(mutex_);
    while (!isEnding_)
    {
        isToLook_ = false;
        lock.unlock();
        const bool isOther = look(std::chrono::steady_clock::now() >= limit);
        if (isOther)
        {
            onOtherControls_();
        }
        lock.lock();
        if (isOther)
        {
            hasOtherControls_ = true;
            return;
        }
        const auto isWoken = [this] { return isEnding_ || isToLook_; };
        if (isReady_)
        {
            changed_.wait(lock, isWoken);
        }
        else
        {
            changed_.wait_for(lock, kLook, isWoken);
        }
    }
}

// True when the device came back with other controls. isLate: what is not applied by now is not waited for.
bool DeviceWatch::look(bool isLate)
{
    if (device_.hasOtherControls())
    {
        notifyManager("STATUS=" + device_.name() + " has other controls now");
        return true;
    }
    const bool isThere = device_.isThere();
    if (!isReady_)
    {
        const std::map<ia_cmd_e, Standing> standings = device_.standings();
        const bool isSettled =
            isThere && std::none_of(standings.begin(), standings.end(), [](const auto& s) { return isOpen(s.second); });
        if (!isSettled && !isLate)
        {
            return false;
        }
        isReady_ = true;
        wasThere_ = isThere;
        notifyManager(std::string("READY=1\nSTATUS=") + (isSettled ? "everything is applied"
                                                         : isThere ? "not everything could be applied yet"
                                                                   : "the device is not there"));
    }
    else if (isThere != wasThere_)
    {
        wasThere_ = isThere;
        notifyManager(isThere ? "STATUS=the device is back" : "STATUS=the device is lost");
    }
    return false;
}

void notifyManager(const std::string& lines)
{
    const char* const place = std::getenv("NOTIFY_SOCKET");
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (place == nullptr || (place[0] != '/' && place[0] != '@') || std::strlen(place) >= sizeof address.sun_path)
    {
        return;
    }
    const std::size_t length = std::strlen(place);
    std::memcpy(address.sun_path, place, length);
    if (place[0] == '@')
    {
        address.sun_path[0] = '\0';
    }
    const camera::Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    // Without a listener there is nobody to tell.
    sendto(socket.number(), lines.data(), lines.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&address),
           static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length));
}

}  // namespace app
