#include "app/web/Serving.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "app/Failure.h"
#include "app/box/DiskFiles.h"
#include "app/box/LibraryLines.h"
#include "app/box/StateFolder.h"
#include "app/cli/Parsing.h"
#include "app/web/Api.h"
#include "app/web/Passwords.h"
#include "app/web/Tls.h"

namespace web {
namespace {

constexpr char kIdentityFile[] = "/tls.pem";
constexpr char kAuditFile[] = "/audit.log";

constexpr int kNextPorts = 100;  // that are tried: a machine has no more cameras, and other programs other ports

ListenSocket inheritedSocket(const std::string& text)
{
    const std::size_t colon = text.find(':');
    const std::optional<int> descriptor = app::parseInt(text.substr(0, colon));
    const std::optional<int> port = colon < text.size() ? app::parseInt(text.substr(colon + 1)) : std::nullopt;
    if (!descriptor || !port)
    {
        throw std::runtime_error("--descriptor is only for the copy that sensorcam starts in its private file tree");
    }
    return ListenSocket::inherited(*descriptor, *port);
}

camera::Descriptor inherited(int descriptor)
{
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    return camera::Descriptor(descriptor);
}

Opened handedIn(const app::ServeOptions& options)
{
    Opened opened;
    for (const std::string& text : options.descriptors)
    {
        opened.sockets.push_back(inheritedSocket(text));
    }
    if (!options.users.empty())
    {
        opened.users = UsersFile::at(options.users);
    }
    opened.identity = inherited(options.identityDescriptor);
    return opened;
}

std::optional<gid_t> groupOf(const std::string& text)
{
    if (text.empty())
    {
        return std::nullopt;
    }
    if (const group* const found = getgrnam(text.c_str()))
    {
        return found->gr_gid;
    }
    const std::optional<int> number = app::parseInt(text);
    if (!number || *number < 0)
    {
        throw std::runtime_error("there is no group " + text);
    }
    return static_cast<gid_t>(*number);
}

std::string knownIdentity(const std::string& file)
{
    try
    {
        return readIdentity(file, file);
    }
    catch (const std::runtime_error& error)
    {
        throw std::runtime_error(error.what() + std::string("; without the file a new one is made"));
    }
}

// Made once, and again when it is over or was made for another address.
std::string ownIdentity(const std::string& file, const std::string& address)
{
    const bool isAny = address == "0.0.0.0" || address == "::";
    const bool isThere = std::filesystem::exists(std::filesystem::symlink_status(file));
    std::string identity = isThere ? knownIdentity(file) : "";
    if (!isThere || isOver(identity) || (!isAny && !isFor(identity, address)))
    {
        std::vector<std::string> names = {"localhost", "127.0.0.1", "::1"};
        char host[256] = "";
        if (gethostname(host, sizeof host - 1) == 0 && host[0] != '\0')
        {
            names.emplace_back(host);
        }
        if (!isAny)
        {
            names.push_back(address);
        }
        clearSecret(identity);
        identity = makeIdentity(names);
        app::replaceFile(file, identity, 0600);
    }
    return identity;
}

// In memory that goes with the last of the processes that have it.
camera::Descriptor kept(std::string identity)
{
    camera::Descriptor memory(memfd_create("identity", MFD_CLOEXEC));
    const ssize_t written = write(memory.number(), identity.data(), identity.size());
    const bool isWhole = written == static_cast<ssize_t>(identity.size());
    clearSecret(identity);
    if (!isWhole)
    {
        throw std::runtime_error(app::systemError("the certificate cannot be kept in memory"));
    }
    return memory;
}

std::string identityIn(const camera::Descriptor& memory)
{
    struct stat facts = {};
    if (memory.number() < 0)
    {
        return "";
    }
    if (fstat(memory.number(), &facts) != 0 || facts.st_size == 0)
    {
        throw std::runtime_error(app::systemError("the certificate is gone"));
    }
    std::string text(static_cast<std::size_t>(facts.st_size), '\0');
    if (pread(memory.number(), text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
    {
        throw std::runtime_error(app::systemError("the certificate is gone"));
    }
    return text;
}

ListenSocket socketOnPort(const app::ServeOptions& options)
{
    for (int port = *options.port;; ++port)
    {
        try
        {
            ListenSocket socket = ListenSocket::onPort(options.address, port);
            if (port != *options.port)
            {
                app::notice("port " + std::to_string(*options.port) + " is taken; this camera has port " +
                            std::to_string(port));
            }
            return socket;
        }
        catch (const std::system_error& error)
        {
            if (!options.orNextPort || error.code() != std::errc::address_in_use || port == *options.port + kNextPorts)
            {
                throw;
            }
        }
    }
}

// What a person can reach it by.
std::string placeOf(const ListenSocket& socket, const app::ServeOptions& options, bool tls)
{
    if (socket.isLocal())
    {
        return "the socket";
    }
    // Not as "localhost": that may lead to another address, at which the same port is somebody else's.
    const std::string port = std::to_string(socket.port());
    const bool isSix = options.address.find(':') != std::string::npos;
    return (tls ? "https://" : "http://") + (isSix ? "[" + options.address + "]" : options.address) + ":" + port + "/";
}

}  // namespace

Opened open(const app::ServeOptions& options, const std::string& stateFolder)
{
    if (!options.descriptors.empty())
    {
        return handedIn(options);
    }
    Opened opened;
    if (!options.users.empty())
    {
        opened.users = UsersFile::at(options.users);
        if (opened.users->read().empty())
        {
            throw std::runtime_error(options.users + " has no users; sensorcam passwd makes one");
        }
    }
    if (options.selfSigned)
    {
        opened.identity = kept(ownIdentity(stateFolder + kIdentityFile, options.address));
    }
    else if (options.hasTls())
    {
        std::string identity = readIdentity(options.certificate, options.key);
        if (isOver(identity))
        {
            app::notice("the certificate in " + options.certificate + " is over: clients refuse it");
        }
        opened.identity = kept(std::move(identity));
    }
    if (options.port)
    {
        opened.sockets.push_back(socketOnPort(options));
    }
    if (!options.socket.empty())
    {
        opened.sockets.push_back(ListenSocket::atPath(options.socket,
                                                      static_cast<mode_t>(std::stoul(options.socketMode, nullptr, 8)),
                                                      groupOf(options.socketGroup)));
    }
    return opened;
}

std::string usersFolder(const app::ServeOptions& options)
{
    return options.users.empty() ? "" : std::filesystem::path(app::absolutePath(options.users)).parent_path().string();
}

std::vector<int> handOver(const Opened& opened, app::ServeOptions& options)
{
    std::vector<int> descriptors;
    for (const ListenSocket& socket : opened.sockets)
    {
        options.descriptors.push_back(std::to_string(socket.descriptor()) + ":" + std::to_string(socket.port()));
        descriptors.push_back(socket.descriptor());
    }
    options.identityDescriptor = opened.identity.number();
    if (opened.identity.number() >= 0)
    {
        descriptors.push_back(opened.identity.number());
    }
    return descriptors;
}

// Hands the library's lines to the readers of the trace as long as it lives.
class Service::Tracing : private app::LibraryOutput::Listener
{
public:
    Tracing(app::LibraryOutput& output, TraceLog& trace) : output_(output), trace_(trace) { output_.add(*this); }
    ~Tracing() override { output_.remove(*this); }
    Tracing(const Tracing&) = delete;
    Tracing& operator=(const Tracing&) = delete;

private:
    void libraryPrinted(const std::string& bytes) override { trace_.take(lines_.feed(bytes)); }

    app::LibraryOutput& output_;
    TraceLog& trace_;
    app::LibraryLines lines_{"", false};
};

Service::Service(camera::Camera& camera, const app::ServeOptions& options, Opened opened,
                 const std::string& stateFolder, app::LibraryOutput& output)
    : audit_(stateFolder + kAuditFile, app::notice),
      sessions_(opened.users
                    ? std::make_optional<Sessions>(std::make_unique<Users>(std::move(*opened.users), app::notice))
                    : std::nullopt),
      api_(camera, {{isLoopback(options.address), opened.identity.number() >= 0, options.origins, options.address},
                    sessions_ ? &*sessions_ : nullptr,
                    &audit_}),
      tracing_(std::make_unique<Tracing>(output, api_.trace()))
{
    std::string identity = identityIn(opened.identity);
    const bool tls = !identity.empty();
    for (const ListenSocket& socket : opened.sockets)
    {
        places_ += "serving on " + placeOf(socket, options, tls) + "\n";
    }
    if (tls)
    {
        places_ += "certificate's SHA-256 " + fingerprintOf(identity) + "\n";
    }
    if (opened.own)
    {
        opened.sockets.push_back(std::move(*opened.own));
    }
    server_.emplace(std::move(opened.sockets), api_, Limits(), identity);
    clearSecret(identity);
}

// The server waits for its handlers, and those for a picture that may not come.
Service::~Service()
{
    api_.pictures().end();
}

}  // namespace web
