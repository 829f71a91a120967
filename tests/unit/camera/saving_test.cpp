#include <dlfcn.h>

#include <functional>
#include <future>
#include <thread>

#include "SensorPaths.h"
#include "camera/Diagnostics.h"
#include "camera/Failure.h"
#include "camera/SchemeFile.h"
#include "tests/support/ServiceDouble.h"
#include "tests/unit/camera/CameraFixture.h"

using namespace support;

namespace {

// What happens in front of a save and behind it.
std::function<void()> beforeFlush;
std::function<void()> afterFlush;

}  // namespace

// In place of the library's: the camera that is tested calls this one.
int ISensorController::flush()
{
    using Call = int (*)(ISensorController*);
    static const auto real = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "_ZN17ISensorController5flushEv"));
    if (beforeFlush)
    {
        const auto once = beforeFlush;  // which may take itself off
        once();
    }
    const int result = real(this);
    if (afterFlush)
    {
        const auto once = afterFlush;
        once();
    }
    return result;
}

namespace {

class CameraSaving : public CameraTest
{
protected:
    void TearDown() override
    {
        beforeFlush = nullptr;
        afterFlush = nullptr;
        CameraTest::TearDown();
    }

    // By the clock, while a change holds the camera's own thread back.
    void switchTo(int hour, int minute)
    {
        clock_->setTimeOfDay(hour, minute);
        clock_->advance(std::chrono::seconds(1));
        EXPECT_TRUE(clock_->waitForSleepers(1, kBound));
    }

    static std::optional<int> brightnessInFile(int scheme)
    {
        for (const KeyVal& record : camera::readSchemeFile(scheme))
        {
            if (record.key == KEY_BRIGHTNESS)
            {
                return static_cast<int>(record.value);
            }
        }
        return std::nullopt;
    }
};

// Corrects one shutter to another.
class RoundingService : public services::Wrapper
{
public:
    static constexpr int kCorrected = 10;
    static constexpr int kTo = 9;

    explicit RoundingService(services::ImageService& inner) : Wrapper(inner) {}

    int call(ia_cmd_e cmd, int opt, void* data) override
    {
        if (cmd != IA_CMD_MAX_SHUTTER || opt != IA_CMD_OPT_CORRECT_PARAM)
        {
            return Wrapper::call(cmd, opt, data);
        }
        u32& word = *static_cast<u32*>(data);
        word = word == kCorrected ? kTo : word;
        return services::kDone;
    }

private:
    InForce inForce_{*this};
};

TEST_F(CameraSaving, SavedValuesAreThereAfterARestart)
{
    bringUp();
    c().apply({{KEY_BRIGHTNESS, 61}});
    const camera::SaveResult result = c().save();
    EXPECT_EQ(result.kind, camera::SaveResult::Kind::saved);
    EXPECT_EQ(result.scheme, 0);
    EXPECT_GT(result.values, 50u);
    start();
    EXPECT_EQ(c().peek(KEY_BRIGHTNESS), 61);
}

// A switch by the clock, behind which another scheme is saved than the one that was in force at first.
TEST_F(CameraSaving, TheSchemeThatIsSaidToBeSavedIsTheOneThatWas)
{
    bringUp();
    c().setWindow(1, {true, 13, 0, 14, 0});
    c().setWindow(0, {true, 0, 0, 13, 0});
    c().apply({{KEY_BRIGHTNESS, 61}});
    beforeFlush = [this] {
        beforeFlush = nullptr;
        switchTo(13, 30);
    };
    ASSERT_TRUE(clock_->waitForSleepers(kSleepers, kBound));  // or the hour is set before anybody waits for it
    const camera::SaveResult result = c().save();
    EXPECT_EQ(result.kind, camera::SaveResult::Kind::saved);
    EXPECT_EQ(result.scheme, 1);
    EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), 61);
    EXPECT_EQ(brightnessInFile(0), 50);
}

TEST_F(CameraSaving, ASwitchBehindTheSavingTakesNothingBack)
{
    bringUp();
    c().setWindow(1, {true, 13, 0, 14, 0});
    c().setWindow(0, {true, 0, 0, 13, 0});
    c().apply({{KEY_BRIGHTNESS, 61}});
    afterFlush = [this] {
        afterFlush = nullptr;
        switchTo(13, 30);
    };
    ASSERT_TRUE(clock_->waitForSleepers(kSleepers, kBound));  // or the hour is set before anybody waits for it
    const camera::SaveResult result = c().save();
    EXPECT_EQ(result.kind, camera::SaveResult::Kind::saved);
    EXPECT_EQ(result.scheme, 0);
    EXPECT_EQ(brightnessInFile(0), 61);
}

// Reading as pair text corrects what the scheme in force holds.
TEST_F(CameraSaving, WhatWouldBeCorrectedMeanwhileIsNoLostSave)
{
    constexpr int kChances = 10000;  // for a reader that nobody holds back
    const RoundingService rounding(journal());
    bringUp();
    c().apply({{KEY_MAX_SHUTTER, RoundingService::kCorrected}});
    std::future<std::string> reader;
    afterFlush = [&] {
        reader = std::async(std::launch::async, [this] { return c().pairText(); });
        for (int i = 0; i < kChances; ++i)
        {
            std::this_thread::yield();
        }
    };
    EXPECT_EQ(c().save().kind, camera::SaveResult::Kind::saved);
    const std::string pairs = reader.get();
    EXPECT_NE(pairs.find("(49," + std::to_string(RoundingService::kTo) + ")"), std::string::npos) << pairs;
}

std::vector<std::vector<int>> unsavedOf(camera::Camera& camera)
{
    std::vector<std::vector<int>> values;
    for (const camera::UnsavedValue& value : camera.unsaved())
    {
        values.push_back({value.scheme, value.key, value.value, value.saved});
    }
    return values;
}

TEST_F(CameraSaving, WithoutAFileWhatDiffersFromTheFactoryIsUnsaved)
{
    bringUp();
    c().setMode(false);
    c().apply({{KEY_BRIGHTNESS, 61}});
    removeFile(sensorpaths::schemeFile(0));
    EXPECT_EQ(unsavedOf(c()), (std::vector<std::vector<int>>{{0, KEY_BRIGHTNESS, 61, 50}}));
}

TEST_F(CameraSaving, UnsavedAreTheValuesThatTheFilesOfTheirSchemesHoldOtherwise)
{
    using Values = std::vector<std::vector<int>>;
    bringUp();
    EXPECT_EQ(unsavedOf(c()), Values());
    c().setMode(false);
    c().apply({{KEY_BRIGHTNESS, 61}});
    c().tryOut({{KEY_CONTRAST, 62}});
    c().setScheme(1);
    c().apply({{KEY_BRIGHTNESS, 63}});
    EXPECT_EQ(unsavedOf(c()), (Values{{0, KEY_BRIGHTNESS, 61, 50}, {1, KEY_BRIGHTNESS, 63, 50}}));
    c().save();
    EXPECT_EQ(unsavedOf(c()), (Values{{0, KEY_BRIGHTNESS, 61, 50}}));
    c().setScheme(0);
    c().apply({{KEY_BRIGHTNESS, 50}});
    EXPECT_EQ(unsavedOf(c()), Values()) << "as it was saved";
    c().setScheme(c().schemeCount());
    c().apply({{KEY_BRIGHTNESS, 64}});
    EXPECT_EQ(unsavedOf(c()), Values()) << "the default scheme has no file";
}

TEST_F(CameraSaving, ReloadingTakesUnsavedValuesBack)
{
    bringUp();
    c().apply({{KEY_BRIGHTNESS, 61}});
    EXPECT_EQ(c().reload().kind, camera::ReloadResult::Kind::reloaded);
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 50);
}

TEST_F(CameraSaving, AnUnsoundWindowIsRefusedWithItsCode)
{
    bringUp();
    c().setMode(false);
    c().apply({{KEY_SCHEME_START_HOUR, 24}, {KEY_SCHEME_START_MIN, 1}});
    const camera::SaveResult result = c().save();
    EXPECT_EQ(result.kind, camera::SaveResult::Kind::windowRefused);
    EXPECT_EQ(result.code, WINDOW_STARTS_TOO_LATE);
    EXPECT_EQ(result.window.startHour, 24u);
}

TEST_F(CameraSaving, TheDefaultSchemeHasNoFile)
{
    bringUp();
    c().setMode(false);
    c().setScheme(c().schemeCount());
    EXPECT_EQ(c().save().kind, camera::SaveResult::Kind::noFile);
    EXPECT_EQ(c().reload().kind, camera::ReloadResult::Kind::noFile);
}

TEST_F(CameraSaving, AFactoryResetMakesEverySchemeAnew)
{
    bringUp();
    c().setValues(2, {{KEY_BRIGHTNESS, 71}});
    c().factoryReset();
    EXPECT_EQ(c().schemeValue(2, KEY_BRIGHTNESS), 50);
    EXPECT_FALSE(c().texts(0).texts.empty());
    EXPECT_EQ(c().currentScheme(), 0);
}

TEST_F(CameraSaving, WhatIsSetDuringAFactoryResetIsRememberedByTheSchemeThatComes)
{
    bringUp();
    std::future<camera::ApplyResult> change;
    const int subscription = c().events().subscribe([&](const camera::Event& event) {
        if (event.kind == camera::Event::Kind::reset)
        {
            change = std::async(std::launch::async, [this] { return c().apply({{KEY_BRIGHTNESS, 61}}); });
        }
    });
    c().factoryReset();
    c().events().unsubscribe(subscription);
    EXPECT_EQ(outcomes(change.get()), std::vector<camera::Outcome>{camera::Outcome::applied});
    EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), 61);
}

TEST_F(CameraSaving, ACameraWhoseBoardFilesAreGoneIsDownAfterAReset)
{
    bringUp();
    removeFile(kModuleConfigFile);
    setDebug(6);
    for (int attempt = 0; attempt < 2; ++attempt)
    {
        try
        {
            c().factoryReset();
            FAIL() << "no failure";
        }
        catch (const camera::Failure& failure)
        {
            EXPECT_EQ(failure.problem(), camera::Problem::boardFilesGone);
        }
        installModel("fixed");  // too late
    }
    EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), std::nullopt);
}

TEST_F(CameraSaving, ABoardWithoutFilesIsNoCamera)
{
    const auto problem = [this] {
        try
        {
            start();
        }
        catch (const camera::Failure& failure)
        {
            return std::optional<camera::Problem>(failure.problem());
        }
        return std::optional<camera::Problem>();
    };
    EXPECT_EQ(problem(), camera::Problem::machineInfo);
    installModel("fixed");
    removeFile(kModuleConfigFile);
    EXPECT_EQ(problem(), camera::Problem::noBoard);
    installModel("fixed");
    removeFile(kStyleFile);
    removeFile(kDomeStyleFile);
    EXPECT_EQ(problem(), camera::Problem::noParameters);
}

TEST_F(CameraSaving, TheDebugLevelKeepsTheAssertionSwitch)
{
    EXPECT_EQ(camera::debugLevel(), std::nullopt);
    setDebug(4, 0);
    EXPECT_EQ(camera::debugLevel(), 4);
    EXPECT_TRUE(camera::setDiagnostics(1));
    EXPECT_EQ(readFile(kDebugMarkerFile), "1\n0\n");
    writeFile(kDebugMarkerFile, "10\n0\nand more\n");
    EXPECT_TRUE(camera::setDiagnostics(1));
    EXPECT_EQ(readFile(kDebugMarkerFile), "1\n0\n");
    EXPECT_TRUE(camera::clearDebugLevel());
    EXPECT_TRUE(camera::clearDebugLevel());
    EXPECT_FALSE(fileExists(kDebugMarkerFile));
    for (const char* level : {"5", "6"})  // without a second line there is none to keep
    {
        EXPECT_TRUE(camera::setDiagnostics(*level - '0'));
        EXPECT_EQ(readFile(kDebugMarkerFile), std::string(level) + "\n");
    }
}

TEST_F(CameraSaving, ALongMarkerFileIsNoneThatCanBeRead)
{
    writeFile(kDebugMarkerFile, "3\n" + std::string(4094, '0'));
    EXPECT_EQ(camera::debugLevel(), 3);
    writeFile(kDebugMarkerFile, "3\n" + std::string(4095, '0'));
    EXPECT_THROW(camera::debugLevel(), camera::Failure);
    EXPECT_THROW(camera::setDiagnostics(4), camera::Failure);
}

TEST_F(CameraSaving, TheErrorLogComesOldestFirst)
{
    writeFile(std::string(kErrorLogFile) + ".2", "oldest\n");
    writeFile(std::string(kErrorLogFile) + ".1", "older\n");
    writeFile(kErrorLogFile, "newer\nnewest\n");
    EXPECT_EQ(camera::errorLog(), (std::vector<std::string>{"oldest", "older", "newer", "newest"}));
    writeFile(kErrorLogFile, std::string(1024 * 1024, 'x'));
    EXPECT_EQ(camera::errorLog().size(), 3u);
    writeFile(kErrorLogFile, std::string(1024 * 1024 + 1, 'x'));
    EXPECT_THROW(camera::errorLog(), camera::Failure);
}

}  // namespace
