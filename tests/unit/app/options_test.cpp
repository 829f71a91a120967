#include "app/Options.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "app/cli/Shell.h"
#include "services/linux/ControlIds.h"
#include "tests/support/CapturedOutput.h"

namespace {

std::optional<app::Options> read(std::vector<std::string> arguments, int* status = nullptr)
{
    arguments.insert(arguments.begin(), "sensorcam");
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
    {
        pointers.push_back(argument.data());
    }
    int ignored = 0;
    return app::readOptions(static_cast<int>(pointers.size()), pointers.data(), status == nullptr ? ignored : *status);
}

TEST(Options, NothingAtAllIsTheUsualCameraAndItsPage)
{
    const std::optional<app::Options> options = read({});
    ASSERT_TRUE(options && options->serve);
    EXPECT_EQ(options->isShell, app::isInteractive(STDOUT_FILENO, false));
    EXPECT_EQ(options->serve->port, 8080);
    EXPECT_TRUE(options->serve->orNextPort);
    EXPECT_EQ(options->serve->address, "127.0.0.1");
    EXPECT_FALSE(options->model);
    EXPECT_FALSE(options->startMinutes);
    EXPECT_EQ(options->speed, 1.0);
    EXPECT_FALSE(options->json);
}

TEST(Options, ExecTakesEveryArgumentAsACommandLine)
{
    const std::optional<app::Options> options =
        read({"--model", "lpr", "--speed", "600", "--at", "05:30", "--json", "exec", "light sun", "watch 60"});
    ASSERT_TRUE(options);
    EXPECT_FALSE(options->isShell);
    EXPECT_EQ(options->commands, (std::vector<std::string>{"light sun", "watch 60"}));
    EXPECT_EQ(options->model, "lpr");
    EXPECT_EQ(options->speed, 600.0);
    EXPECT_EQ(options->startMinutes, 330);
    EXPECT_TRUE(options->json);
}

TEST(Options, OptionsOfTheCameraMayStandBehindTheSubcommand)
{
    const std::vector<std::vector<std::string>> orders = {
        {"--state", "/x", "--json", "serve", "--port", "8099"},
        {"serve", "--state", "/x", "--port", "8099", "--json"},
    };
    for (const std::vector<std::string>& arguments : orders)
    {
        const std::optional<app::Options> options = read(arguments);
        ASSERT_TRUE(options && options->serve) << arguments.front();
        EXPECT_EQ(options->stateFolder, "/x");
        EXPECT_EQ(options->serve->port, 8099);
        EXPECT_TRUE(options->json);
    }
    const std::optional<app::Options> shell = read({"shell", "--model", "dome"});
    ASSERT_TRUE(shell);
    EXPECT_EQ(shell->model, "dome");
}

TEST(Options, WhatLooksLikeAnOptionBehindACommandLineIsACommandLine)
{
    const std::optional<app::Options> options = read({"exec", "status", "--json", "serve"});
    ASSERT_TRUE(options);
    EXPECT_FALSE(options->json);
    EXPECT_FALSE(options->serve);
    EXPECT_EQ(options->commands, (std::vector<std::string>{"status", "--json", "serve"}));
}

TEST(Options, MistakesEndWithStatusTwo)
{
    const std::vector<std::vector<std::string>> mistakes = {
        {"--model", "bullet"}, {"--speed", "0"},
        {"--speed", "fast"},   {"--at", "24:00"},
        {"--at", "noon"},      {"exec"},
        {"--nonsense"},        {"--in-place", "--state", "/x"},
        {"--state", ""},       {"--model", ""},
        {"--at", ""},          {"--speed", ""},
        {"--state", "/"},      {"--state", "/x/.."},
        {"serve", "shell"},    {"serve", "--nonsense"},
        {"--speed", "0.09"},   {"--speed", "3600.1"},
    };
    for (const std::vector<std::string>& arguments : mistakes)
    {
        int status = 0;
        EXPECT_FALSE(read(arguments, &status)) << arguments.front();
        EXPECT_EQ(status, app::kExitUsage) << arguments.front();
    }
}

TEST(Options, AMistakeIsADocumentWhereDocumentsAreAskedFor)
{
    support::CapturedOutput output;
    EXPECT_FALSE(read({"--json", "--nonsense"}));
    const std::string document = output.take();
    EXPECT_EQ(document.find(R"({"ok":false,"error":{"code":"wrong-usage",)"), 0u) << document;
}

TEST(Options, TheSlowestAndTheFastestSpeedAreSpeeds)
{
    for (const auto& [text, speed] : {std::pair("0.1", 0.1), std::pair("3600", 3600.0)})
    {
        const std::optional<app::Options> options = read({"--speed", text});
        ASSERT_TRUE(options) << text;
        EXPECT_EQ(options->speed, speed);
    }
}

TEST(Options, HelpAndVersionEndWithSuccess)
{
    for (const char* argument : {"--help", "--version"})
    {
        int status = 99;
        EXPECT_FALSE(read({argument}, &status));
        EXPECT_EQ(status, app::kExitOk);
    }
}

TEST(Options, TheCopyInsideGetsTheSameOnes)
{
    std::optional<app::Options> outer =
        read({"--speed", "0.5", "--at", "7:05", "--json", "--verbose", "exec", "set a=1", "--get"});
    ASSERT_TRUE(outer);
    outer->model = "dome";
    const std::optional<app::Options> inner = read(app::insideArguments(*outer, 7, 8));
    ASSERT_TRUE(inner);
    EXPECT_TRUE(inner->inside);
    EXPECT_EQ(inner->lockDescriptor, 7);
    EXPECT_EQ(inner->supervisorDescriptor, 8);
    EXPECT_EQ(inner->model, "dome");
    EXPECT_EQ(inner->speed, 0.5);
    EXPECT_EQ(inner->startMinutes, 425);
    EXPECT_TRUE(inner->json);
    EXPECT_TRUE(inner->verbose);
    EXPECT_EQ(inner->commands, outer->commands);
}

TEST(DeviceOptions, AreWhatWasNamed)
{
    const std::optional<app::Options> options =
        read({"--device", "/dev/video0", "--light", "auto", "--lamp", "near=ir0", "--lamp", "far=ir1", "--filter",
              "gpiochip0:3,low", "--schemes-by", "light", "--others", "take-over", "exec", "status"});
    ASSERT_TRUE(options && options->device);
    EXPECT_EQ(options->device->camera, "/dev/video0");
    EXPECT_EQ(options->device->light, "auto");
    EXPECT_EQ(options->device->lamps,
              (std::map<u32, std::string>{{devices::kLampNear, "ir0"}, {devices::kLampFar, "ir1"}}));
    ASSERT_TRUE(options->device->filter);
    EXPECT_EQ(options->device->filter->chip, "gpiochip0");
    EXPECT_FALSE(options->device->filter->isHighIn);
    EXPECT_EQ(options->device->schemesByLight, true);
    EXPECT_EQ(options->device->others, devices::Others::takeOver);
    EXPECT_FALSE(options->model);
}

TEST(DeviceOptions, WhatIsNotNamedIsLeftToWhatIsRemembered)
{
    const std::optional<app::Options> options = read({"--device", "1d6b-0105-0001", "shell"});
    ASSERT_TRUE(options && options->device);
    EXPECT_FALSE(options->device->light || options->device->filter || options->device->schemesByLight ||
                 options->device->others);
    EXPECT_FALSE(read({"shell"})->device);
}

TEST(DeviceOptions, TheDaemonHasNoTerminal)
{
    const std::optional<app::Options> options = read({"daemon", "--state", "/x"});
    ASSERT_TRUE(options);
    EXPECT_TRUE(options->isDaemon);
    EXPECT_FALSE(options->isShell);
    EXPECT_FALSE(options->serve);
}

TEST(DeviceOptions, TheCopyInsideGetsADescriptorInsteadOfAModel)
{
    std::optional<app::Options> outer = read({"--device", "/dev/video0", "daemon"});
    ASSERT_TRUE(outer);
    outer->model = "device";
    outer->deviceDescriptor = 9;
    const std::optional<app::Options> inner = read(app::insideArguments(*outer, 7, 8));
    ASSERT_TRUE(inner);
    EXPECT_TRUE(inner->isDaemon);
    EXPECT_EQ(inner->deviceDescriptor, 9);
    EXPECT_FALSE(inner->model);
    EXPECT_FALSE(inner->device);
}

// What is said on standard error.
std::string refusalOf(const std::vector<std::string>& arguments)
{
    testing::internal::CaptureStderr();
    int status = 0;
    EXPECT_FALSE(read(arguments, &status));
    EXPECT_EQ(status, app::kExitUsage);
    const std::string said = testing::internal::GetCapturedStderr();
    return said.substr(0, said.find('\n'));
}

TEST(DeviceOptions, WhatCannotStandTogetherIsRefused)
{
    EXPECT_EQ(refusalOf({"--device", "/dev/video0", "--model", "dome"}),
              "sensorcam: --model is for a camera without hardware; --device and --board name one that is plugged in");
    EXPECT_EQ(refusalOf({"--board", "file", "--light", "auto"}),
              "sensorcam: --board names a file that says everything; --device, --light, --lamp, --filter, --schemes-by "
              "and --others cannot be added");
    EXPECT_EQ(refusalOf({"--lamp", "near=ir0"}),
              "sensorcam: --light, --lamp, --filter, --schemes-by and --others belong to a camera that --device names");
    EXPECT_EQ(refusalOf({"daemon"}),
              "sensorcam: daemon needs a device: --device NAME, --board FILE, or --state DIR of a device's camera");
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--device", "/dev/video0", "--lamp", "ir0"},
                                               {"--device", "/dev/video0", "--filter", "3"},
                                               {"--device", "/dev/video0", "--others", "shoot"},
                                               {"--device", "/dev/video0", "--schemes-by", "mood"},
                                               {"--device", ""},
                                               {"devices", "--identity", ""}})
    {
        EXPECT_NE(refusalOf(arguments), "") << arguments.back();
    }
}

TEST(ServeOptions, LoopbackIsOpenWithoutUsersAndTls)
{
    for (const char* address : {"127.0.0.1", "::1", "127.1.2.3"})
    {
        const std::optional<app::Options> options = read({"serve", "--bind", address});
        ASSERT_TRUE(options) << address;
        EXPECT_EQ(options->serve->port, 8080);
    }
}

TEST(ServeOptions, AnyOtherAddressNeedsUsersAndTls)
{
    const std::string begin = "sensorcam: --bind 0.0.0.0 lets other machines in: it needs";
    const std::string users = " --users FILE (sensorcam passwd makes one)";
    const std::string tls = " --cert FILE --key FILE, or --self-signed";
    EXPECT_EQ(refusalOf({"serve", "--bind", "0.0.0.0"}), begin + users + " and" + tls);
    EXPECT_EQ(refusalOf({"serve", "--bind", "0.0.0.0", "--self-signed"}), begin + users);
    EXPECT_EQ(refusalOf({"serve", "--bind", "0.0.0.0", "--users", "u"}), begin + tls);
    for (const char* address : {"::", "192.168.1.2", "::ffff:127.0.0.1", "localhost", "1270.0.0.1"})
    {
        EXPECT_EQ(refusalOf({"serve", "--bind", address}), std::string("sensorcam: --bind ") + address +
                                                               " lets other machines in: it needs" + users + " and" +
                                                               tls);
    }
    EXPECT_TRUE(read({"serve", "--bind", "0.0.0.0", "--users", "u", "--self-signed"}));
    EXPECT_TRUE(read({"serve", "--bind", "0.0.0.0", "--users", "u", "--cert", "c", "--key", "k"}));
}

TEST(ServeOptions, WhatWouldHaveNoEffectIsRefused)
{
    EXPECT_EQ(refusalOf({"serve", "--cert", "c"}), "sensorcam: --cert requires --key");
    EXPECT_EQ(refusalOf({"serve", "--key", "k"}), "sensorcam: --key requires --cert");
    EXPECT_EQ(refusalOf({"serve", "--cert", "c", "--key", "k", "--self-signed"}),
              "sensorcam: --cert excludes --self-signed");
    EXPECT_EQ(refusalOf({"serve", "--socket-mode", "660"}), "sensorcam: --socket-mode requires --socket");
    EXPECT_EQ(refusalOf({"serve", "--socket-group", "video"}), "sensorcam: --socket-group requires --socket");
    for (const char* mode : {"666", "777", "0", "384", ""})
    {
        EXPECT_FALSE(read({"serve", "--socket", "/s", "--socket-mode", mode})) << mode;
    }
    EXPECT_EQ(
        refusalOf({"serve", "--socket", "/s", "--users", "u"}),
        "sensorcam: --users, --cert and --self-signed are for a port; a Unix socket is guarded by the mode of its "
        "file");
}

TEST(ServeOptions, AnEmptyTextIsNoValue)
{
    for (const char* option : {"--port", "--bind", "--users", "--cert", "--key", "--socket", "--socket-mode",
                               "--socket-group", "--allow-origin"})
    {
        std::vector<std::string> arguments = {"serve", "--socket", "/s", "--cert", "c", "--key", "k", option, ""};
        EXPECT_EQ(refusalOf(arguments).rfind("sensorcam: ", 0), 0u) << option;
    }
    EXPECT_EQ(refusalOf({"serve", "--users", ""}), "sensorcam: --users needs a value");
    EXPECT_EQ(refusalOf({"serve", "--socket", ""}), "sensorcam: --socket needs a value");
    EXPECT_EQ(refusalOf({"serve", "--bind", ""}), "sensorcam: --bind needs a value");
    EXPECT_EQ(refusalOf({"passwd", "", "anna"}), "sensorcam: FILE needs a value");
}

TEST(ServeOptions, AnAllowedOriginIsOneOfAPage)
{
    for (const char* origin : {"null", "*", "dev.example", "http://dev.example/"})
    {
        EXPECT_EQ(refusalOf({"serve", "--allow-origin", origin}),
                  std::string("sensorcam: --allow-origin: ") + origin + " is not http://HOST:PORT");
    }
    const auto options = read({"serve", "--allow-origin", "HTTP://Dev.example:5173"});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->serve->origins, std::vector<std::string>{"http://dev.example:5173"});
}

TEST(ServeOptions, TheCopyInsideGetsWhatWasOpenedOutside)
{
    std::optional<app::Options> outer =
        read({"serve", "--bind", "0.0.0.0", "--users", "/etc/users", "--self-signed", "--allow-origin", "http://x:1"});
    ASSERT_TRUE(outer);
    outer->model = "dome";
    outer->serve->identityDescriptor = 10;
    outer->serve->descriptors = {"11:8080"};
    outer->httpDescriptor = 12;
    outer->sessionDescriptor = 13;
    outer->folder = "14:/people/otto";
    const std::optional<app::Options> inner = read(app::insideArguments(*outer, 7, 8));
    ASSERT_TRUE(inner);
    EXPECT_EQ(inner->serve->address, "0.0.0.0");
    EXPECT_EQ(inner->serve->users, "/users/users");
    EXPECT_EQ(inner->httpDescriptor, 12);
    EXPECT_EQ(inner->sessionDescriptor, 13);
    EXPECT_EQ(inner->folder, "14:/people/otto");
    EXPECT_EQ(inner->serve->identityDescriptor, 10);
    EXPECT_TRUE(inner->serve->hasTls());
    EXPECT_FALSE(inner->serve->selfSigned);
    EXPECT_EQ(inner->serve->descriptors, std::vector<std::string>{"11:8080"});
    EXPECT_EQ(inner->serve->origins, std::vector<std::string>{"http://x:1"});
    EXPECT_FALSE(inner->isShell);
    outer->isShell = true;
    EXPECT_TRUE(read(app::insideArguments(*outer, 7, 8))->isShell);
}

TEST(PasswordOptions, TheNameAndTheRoleMustBeOnesThatAUserCanHave)
{
    const std::optional<app::Options> options = read({"passwd", "--role", "operator", "users", "otto"});
    ASSERT_TRUE(options && options->password);
    EXPECT_EQ(options->password->file, "users");
    EXPECT_EQ(options->password->name, "otto");
    EXPECT_EQ(options->password->role, "operator");
    EXPECT_FALSE(options->isShell);
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"passwd"},
                                               {"passwd", "users"},
                                               {"passwd", "--role", "root", "users", "otto"},
                                               {"passwd", "--role", "none", "users", "otto"},
                                               {"passwd", "--role", "viewer", "--delete", "users", "otto"},
                                               {"passwd", "users", "otto", "secret"},
                                               {"passwd", "users", "a b"},
                                               {"passwd", "users", "a:b"},
                                               {"passwd", "users", std::string(33, 'a')}})
    {
        EXPECT_FALSE(read(arguments));
    }
}

}  // namespace
