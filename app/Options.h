#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "services/linux/Board.h"

// What the command line asks for. Host thread only.
namespace app {

// Exit statuses of sensorcam; 128 + n when signal n ended it, but kExitOk of a daemon that SIGTERM or SIGINT ended.
enum ExitStatus
{
    kExitOk = 0,
    kExitCommandFailed = 1,  // or its answer could not be written, or the camera went down
    kExitUsage = 2,
    kExitNoCamera = 3,  // the camera could not be started, or has to be started again
};

// Where the camera answers HTTP, and for whom.
struct ServeOptions
{
    std::optional<int> port;
    bool orNextPort = false;            // when that one is taken
    std::string address = "127.0.0.1";  // numeric
    std::string socket;                 // path of a Unix socket; empty: none
    std::string socketMode = "600";     // of its file, octal
    std::string socketGroup;            // name or number; empty: this process's own
    std::string users;                  // path of their file; empty: nobody has to log in
    std::string certificate;            // path
    std::string key;                    // path
    bool selfSigned = false;            // a certificate of the camera's own, kept in its state folder
    std::vector<std::string> origins;   // of pages that may use the camera beside its own

    // For the copy inside.
    std::vector<std::string> descriptors;  // "DESCRIPTOR:PORT", port 0 for a Unix socket
    int identityDescriptor = -1;           // certificates and key

    bool hasTls() const { return selfSigned || !certificate.empty() || identityDescriptor >= 0; }
};

// What a camera with a real device is made of. What is not named is as its state folder remembers it.
struct DeviceOptions
{
    std::string camera;
    std::string boardFile;  // empty: none; otherwise it says everything
    std::optional<std::string> light;
    std::map<u32, std::string> lamps;
    std::optional<devices::FilterLines> filter;
    std::optional<bool> schemesByLight;
    std::optional<devices::Others> others;
};

// Of "devices": what is plugged in, or the identity of one node.
struct DeviceListOptions
{
    std::string identityOf;  // empty: the list
};

// Of "passwd": whose password.
struct PasswordOptions
{
    std::string file;
    std::string name;
    std::string role;  // empty: the one before, or viewer
    bool isDelete = false;
};

// Of "replay": how a trace of light is judged.
struct ReplayOptions
{
    std::string file;
    int nightBelow = 20;  // lux
    int dayAbove = 60;
    int delay = 5;               // seconds
    int lampsLux = 0;            // what the lamps give on the sensor
    bool isByExposure = false;   // the light was not a sensor's
    int startMinutes = 12 * 60;  // time of day at the trace's beginning
};

struct Options
{
    std::optional<std::string> model;  // nothing: what the state folder remembers, else the first model
    std::string stateFolder;           // empty: the default below the user's state folder
    double speed = 1.0;                // camera seconds in a real second
    std::optional<int> startMinutes;   // time of day to start at; nothing: the real one
    bool setsClock = false;            // one of the two was named
    bool json = false;
    bool verbose = false;  // the library's lines are not kept back at the prompt
    bool inPlace = false;
    bool isShell = true;    // with serve: a prompt beside the page
    bool isDaemon = false;  // no terminal: until a signal ends it
    std::optional<DeviceOptions> device;
    std::optional<ServeOptions> serve;
    std::optional<DeviceListOptions> deviceList;
    std::optional<PasswordOptions> password;
    std::optional<ReplayOptions> replay;
    std::vector<std::string> commands;  // of exec, a command line each

    // Set by sensorcam itself for the copy of it that runs in the private tree.
    bool inside = false;
    int lockDescriptor = -1;
    int supervisorDescriptor = -1;
    int httpDescriptor = -1;  // sockets of the state folder
    int sessionDescriptor = -1;
    int deviceDescriptor = -1;  // of a DeviceBroker; none for a camera without a real device
    std::string folder;         // of WorkingFolder::handOver
};

// Nothing when the program is to end at once with status: after --help and --version, and after a mistake, which
// has then been explained on standard error (with --json as a document on standard output).
std::optional<Options> readOptions(int argc, char** argv, int& status);

// The arguments that give the copy inside the same options, and the descriptors that it inherits.
std::vector<std::string> insideArguments(const Options& options, int lockDescriptor, int supervisorDescriptor);

}  // namespace app
