#include "services/linux/Generations.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>

#include "SensorKeys.h"
#include "SensorPaths.h"
#include "services/linux/ControlIds.h"
#include "services/linux/Documents.h"
#include "services/linux/Service.h"
#include "tests/unit/services/linux/DiskSteps.h"
#include "tests/unit/services/linux/Webcam.h"

namespace devices {
namespace {

namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;  // by path below a folder; a folder's own is "/", a link's its target
using Lines = std::vector<std::string>;
using support::DiskSteps;
using Kind = DiskSteps::Step::Kind;

constexpr char kShare[] = SENSORDLL_SOURCE_DIR "/share";

std::string read(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void put(const std::string& path, const std::string& content)
{
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

Files filesIn(const std::string& folder)
{
    Files files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder))
    {
        const std::string path = entry.path().lexically_relative(folder).string();
        files[path] = entry.is_symlink()     ? "-> " + fs::read_symlink(entry.path()).string()
                      : entry.is_directory() ? "/"
                                             : read(entry.path().string());
    }
    return files;
}

// A camera, and what a new firmware makes of it: no sharpness, but mirrors, and a menu with one item less.
Description before()
{
    Description description = support::cameraWith(support::webcam());
    description.values[V4L2_CID_BRIGHTNESS] = -64;
    return description;
}

Description after()
{
    std::vector<Control> controls = support::webcam();
    controls.erase(std::remove_if(controls.begin(), controls.end(),
                                  [](const Control& control) { return control.id == V4L2_CID_SHARPNESS; }),
                   controls.end());
    controls.push_back(support::yesNo(V4L2_CID_HFLIP, false));
    return support::cameraWith(controls);
}

// Its values by key, in the order of the file.
std::vector<std::pair<int, int>> schemeIn(const std::string& folder, int scheme)
{
    const std::string bytes = read(folder + sensorpaths::schemeFile(scheme));
    std::vector<std::pair<int, int>> records;
    for (std::size_t at = 0; at + sizeof(KeyVal) <= bytes.size(); at += sizeof(KeyVal))
    {
        KeyVal record;
        std::memcpy(&record, bytes.data() + at, sizeof record);
        records.emplace_back(static_cast<int>(record.key), static_cast<int>(record.value));
    }
    return records;
}

std::optional<int> valueIn(const std::string& folder, int scheme, int key)
{
    for (const auto& [found, value] : schemeIn(folder, scheme))
    {
        if (found == key)
        {
            return value;
        }
    }
    return std::nullopt;
}

void save(const std::string& folder, int scheme, int key, int value)
{
    std::string bytes;
    for (const auto& [found, old] : schemeIn(folder, scheme))
    {
        const KeyVal record{static_cast<u32>(found), static_cast<u32>(found == key ? value : old)};
        bytes.append(reinterpret_cast<const char*>(&record), sizeof record);
    }
    put(folder + sensorpaths::schemeFile(scheme), bytes);
}

class GenerationsTest : public testing::Test
{
protected:
    void SetUp() override
    {
        char name[] = "/tmp/generations.XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        root_ = name;
        state_ = root_ + "/state";
        fs::create_directory(state_);
    }

    void TearDown() override { fs::remove_all(root_); }

    Generation up(const Description& description, const Board& board = {}) const
    {
        return bringUp(state_, kShare, description, board);
    }

    // What it throws; "" for nothing.
    std::string refusal(const Description& description, const std::string& share = kShare) const
    {
        try
        {
            bringUp(state_, share, description, {});
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
        return "";
    }

    std::string current() const { return fs::read_symlink(state_ + "/current").string(); }

    std::set<std::string> generations() const
    {
        std::set<std::string> names;
        for (const fs::directory_entry& entry : fs::directory_iterator(state_ + "/generations"))
        {
            names.insert(entry.path().filename().string());
        }
        return names;
    }

    std::string root_;
    std::string state_;
};

// ---- what a generation holds -------------------------------------------------------------------------------------

TEST_F(GenerationsTest, TheFirstOneBeginsWithWhatTheDeviceHasNow)
{
    const Generation made = up(before());
    EXPECT_EQ(made.number, 1);
    EXPECT_TRUE(made.isNew);
    EXPECT_EQ(made.folder, state_ + "/generations/1");
    EXPECT_EQ(made.report, Lines{"generation 1: scheme 0 begins with what the device has now"});
    EXPECT_EQ(current(), "generations/1");
    EXPECT_EQ(valueIn(made.folder, 0, KEY_BRIGHTNESS), 0) << "as it is now";
    EXPECT_EQ(valueIn(made.folder, 1, KEY_BRIGHTNESS), 50) << "the factory's";
    EXPECT_EQ(valueIn(made.folder, 0, KEY_SCHEME_ENABLE), 1);
    EXPECT_EQ(valueIn(made.folder, 1, KEY_SCHEME_ENABLE), 0);
    EXPECT_EQ(valueIn(made.folder, 0, KEY_SCHEME_END_HOUR), 24);
    EXPECT_EQ(read(made.folder + sensorpaths::kVersionFile), std::string("\x08\0\0\0", 4));
    EXPECT_EQ(parseDescription(read(made.folder + "/description")).values, before().values);
}

TEST_F(GenerationsTest, AreMadeOfTheirBoardAndNotOfOneThatSaysSomethingElse)
{
    devices::Board board;
    const Generation made = up(before(), board);
    EXPECT_TRUE(isMadeOf(made, board));
    board.light = "auto";
    EXPECT_FALSE(isMadeOf(made, board));
}

TEST_F(GenerationsTest, OneHoldsAllThatTheLibraryAndItsHostRead)
{
    const std::string folder = up(before()).folder;
    const Files files = filesIn(folder);
    for (const char* path : sensorpaths::kFolders)
    {
        EXPECT_EQ(files.at(path + 1), "/") << path;
    }
    const Documents documents = documentsOf(before(), parametersOf(before(), {}), {}, {});
    for (const auto& [path, content] : documents.files)
    {
        EXPECT_EQ(files.at(path), content) << path;
    }
    for (const char* path :
         {"share/language/languages.xml", "share/language/en/texts.xml", "share/language/de/common.xml"})
    {
        EXPECT_EQ(files.count(path), 1u) << path;
    }
    for (int scheme = 0; scheme < kScheduledSchemes; ++scheme)
    {
        std::vector<int> keys;
        for (const auto& [key, value] : schemeIn(folder, scheme))
        {
            keys.push_back(key);
        }
        std::vector<int> wanted;
        for (const DocumentParameter& parameter : documents.parameters)
        {
            wanted.push_back(parameter.key);
        }
        EXPECT_EQ(keys, wanted) << scheme;
    }
}

TEST_F(GenerationsTest, SchemesByLightBeginWithTheNightInSchemeOne)
{
    Board board;
    board.light = "auto";
    board.schemesByLight = true;
    Description description = before();
    description.controls.push_back(support::number(kLampNear, 0, 255, 0));
    const std::string folder = up(description, board).folder;
    EXPECT_EQ(valueIn(folder, 0, KEY_SCHEME_ENABLE), 0);
    EXPECT_EQ(valueIn(folder, 1, KEY_DN_MODE), 0);
    EXPECT_EQ(valueIn(folder, 1, KEY_MAX_SHUTTER), 18);
    EXPECT_EQ(valueIn(folder, 1, KEY_IR_MANUAL_STRG_NEAR), 40);
    EXPECT_EQ(valueIn(folder, 1, KEY_METER_AREA), std::nullopt);
}

// ---- another one -------------------------------------------------------------------------------------------------

TEST_F(GenerationsTest, TheSameDeviceKeepsIts)
{
    up(before());
    const Files files = filesIn(state_);
    Description again = before();
    again.values[V4L2_CID_BRIGHTNESS] = 10;
    again.version = "uvcvideo 6.6.0";
    const Generation kept = up(again);
    EXPECT_EQ(kept.number, 1);
    EXPECT_FALSE(kept.isNew);
    EXPECT_EQ(kept.report, Lines());
    EXPECT_EQ(textOf(kept.description), textOf(before())) << "that its documents are made of";
    EXPECT_EQ(filesIn(state_), files);
}

TEST_F(GenerationsTest, OtherControlsMakeANewOneWithTheSavedValues)
{
    const std::string old = up(before()).folder;
    save(old, 0, KEY_BRIGHTNESS, 61);
    save(old, 2, KEY_CONTRAST, 33);
    save(old, 2, KEY_SCHEME_START_HOUR, 7);
    const Files files = filesIn(old);
    const Generation made = up(after());
    EXPECT_EQ(made.number, 2);
    EXPECT_TRUE(made.isNew);
    EXPECT_EQ(current(), "generations/2");
    EXPECT_EQ(valueIn(made.folder, 0, KEY_BRIGHTNESS), 61);
    EXPECT_EQ(valueIn(made.folder, 2, KEY_CONTRAST), 33);
    EXPECT_EQ(valueIn(made.folder, 2, KEY_SCHEME_START_HOUR), 7);
    EXPECT_EQ(valueIn(made.folder, 0, KEY_SCHEME_ENABLE), 1);
    EXPECT_EQ(valueIn(made.folder, 0, KEY_MIRROR), 0);
    EXPECT_EQ(valueIn(made.folder, 0, KEY_SHARPNESS), std::nullopt);
    EXPECT_EQ(made.report.front(), "generation 2 follows 1: the device has other controls");
    EXPECT_EQ(std::count(made.report.begin(), made.report.end(),
                         "Sharpness is gone; what was saved for it stays in generation 1"),
              1);
    EXPECT_EQ(made.report.size(), 3u) << "and one line for what is new";
    EXPECT_EQ(filesIn(old), files) << "the old one is as it was";
}

TEST_F(GenerationsTest, ValuesThatAreNotTakenAnyMoreAreClampedOrTheFactorys)
{
    const std::string old = up(before()).folder;
    save(old, 1, KEY_BRIGHTNESS, 4000);
    save(old, 3, KEY_EXPOSE_MODE, 77);
    const Generation made = up(after());
    EXPECT_EQ(valueIn(made.folder, 1, KEY_BRIGHTNESS), 100);
    EXPECT_EQ(valueIn(made.folder, 3, KEY_EXPOSE_MODE), valueIn(made.folder, 2, KEY_EXPOSE_MODE));
    EXPECT_EQ(std::count(made.report.begin(), made.report.end(),
                         "scheme 1: the device does not take 4000 for Brightness any more; it is 100 now"),
              1);
    EXPECT_EQ(std::count_if(made.report.begin(), made.report.end(),
                            [](const std::string& line) { return line.find("scheme 3: ") == 0; }),
              1);
}

TEST_F(GenerationsTest, NamedControlsAndTheMarkerFileGoAlong)
{
    const std::string old = up(before()).folder;
    const std::string config = sensorpaths::kConfigFolder;
    put(old + config + "/named2.cfg", "hue 12\npan_absolute -3600\n<bad>\nx\n 1\nzoom 1;rm\n");
    put(old + sensorpaths::kDebugMarkerFile, "6\n0\n");
    const std::string made = up(after()).folder;
    EXPECT_EQ(read(made + config + "/named2.cfg"), "hue 12\npan_absolute -3600\n");
    EXPECT_FALSE(fs::exists(made + config + "/named0.cfg"));
    EXPECT_EQ(read(made + sensorpaths::kDebugMarkerFile), "6\n0\n");
}

TEST_F(GenerationsTest, AMissingOrTornSchemeFileCostsThatSchemeAlone)
{
    const std::string old = up(before()).folder;
    save(old, 2, KEY_BRIGHTNESS, 12);
    fs::remove(old + sensorpaths::schemeFile(0));
    put(old + sensorpaths::schemeFile(1), "torn");
    const Generation made = up(after());
    EXPECT_EQ(valueIn(made.folder, 0, KEY_BRIGHTNESS), 50);
    EXPECT_EQ(valueIn(made.folder, 1, KEY_BRIGHTNESS), 50);
    EXPECT_EQ(valueIn(made.folder, 2, KEY_BRIGHTNESS), 12);
    EXPECT_EQ(
        std::count(made.report.begin(), made.report.end(), "scheme 1: no saved values; it has its factory values"), 1);
}

TEST_F(GenerationsTest, AnotherBoardMakesANewOne)
{
    up(before());
    Board board;
    board.light = "auto";
    EXPECT_EQ(up(before(), board).report.front(), "generation 2 follows 1: the board says something else");
    EXPECT_FALSE(up(before(), board).isNew);
    put(state_ + "/generations/2/made-of", "documents 0\n");
    EXPECT_EQ(up(before(), board).report.front(), "generation 3 follows 2: this version makes other documents");
}

TEST_F(GenerationsTest, ADescriptionThatCannotBeReadMakesANewOneWithTheSavedValues)
{
    const std::string old = up(before()).folder;
    save(old, 0, KEY_BRIGHTNESS, 61);
    put(old + "/description", "nothing\n");
    const Generation made = up(before());
    EXPECT_EQ(made.report.front(), old + ": line 1 of the device's description is not that of a description which this "
                                         "program knows");
    EXPECT_EQ(valueIn(made.folder, 0, KEY_BRIGHTNESS), 61);
}

TEST_F(GenerationsTest, FiveOldOnesAreKept)
{
    for (int i = 0; i < 5; ++i)
    {
        up(before());
        up(after());
    }
    EXPECT_EQ(current(), "generations/10");
    EXPECT_EQ(generations(), (std::set<std::string>{"10", "5", "6", "7", "8", "9"}));
}

// Half removed, it must not pass for whole; and nothing goes before the new one is in force.
TEST_F(GenerationsTest, AnOldOneGoesLastAndItsMarkFirst)
{
    for (int i = 1; i <= 6; ++i)
    {
        put(state_ + "/generations/" + std::to_string(i) + "/made-of", "documents 0\n");
    }
    const DiskSteps steps(state_);
    up(before());
    const std::vector<DiskSteps::Step> taken = steps.taken();
    ASSERT_GE(taken.size(), 4u);
    Lines last;
    for (std::size_t i = taken.size() - 4; i < taken.size(); ++i)
    {
        last.push_back(std::to_string(static_cast<int>(taken[i].kind)) + " " + taken[i].path);
    }
    const auto line = [](Kind kind, const std::string& path) {
        return std::to_string(static_cast<int>(kind)) + " " + path;
    };
    EXPECT_EQ(last, (Lines{line(Kind::rename, "current.new"), line(Kind::syncFolder, ""),
                           line(Kind::remove, "generations/1/made-of"), line(Kind::syncFolder, "generations/1")}));
}

// ---- what others have left ---------------------------------------------------------------------------------------

TEST_F(GenerationsTest, AHalfBuiltOneIsRemovedAtTheNextStart)
{
    up(before());
    put(state_ + "/generations/2/mnt/mtd/code/config_file/sensor0.cfg", "half");
    fs::create_symlink("generations/2", state_ + "/current.new");
    EXPECT_EQ(up(before()).number, 1);
    EXPECT_EQ(generations(), std::set<std::string>{"1"});
    EXPECT_EQ(up(after()).number, 2);
    EXPECT_FALSE(fs::is_symlink(state_ + "/current.new"));
}

TEST_F(GenerationsTest, WithoutItsLinkTheNewestWholeOneIsInForce)
{
    up(before());
    save(up(after()).folder, 0, KEY_BRIGHTNESS, 61);
    fs::remove(state_ + "/current");
    const Generation kept = up(after());
    EXPECT_EQ(kept.number, 2);
    EXPECT_EQ(kept.report, Lines{"what was in force is missing; generation 2 takes its place"});
    EXPECT_EQ(valueIn(kept.folder, 0, KEY_BRIGHTNESS), 61);
    EXPECT_EQ(current(), "generations/2");
    fs::remove_all(state_ + "/generations/2");
    EXPECT_EQ(generationInForce(state_)->number, 1);
    EXPECT_EQ(current(), "generations/1");
    fs::remove(state_ + "/current");
    EXPECT_EQ(generationInForce(state_)->number, 1);
    EXPECT_EQ(current(), "generations/1");
}

TEST_F(GenerationsTest, NothingIsInForceBeforeFirstContact)
{
    EXPECT_FALSE(generationInForce(state_).has_value());
    EXPECT_EQ(filesIn(state_), Files());
}

TEST_F(GenerationsTest, SomethingElseInPlaceOfTheLinkIsRefusedAndLeftAlone)
{
    up(before());
    const std::string link = state_ + "/current";
    const std::string text = link +
                             " does not lead to one of this camera's generations: somebody has put something else in "
                             "its place. Move it away and start the camera again";
    for (const char* target : {"/etc", "generations/../../x", "generations/1/", "generations/01", "generations/-1",
                               "generations/99999999999", "generations/1 "})
    {
        fs::remove(link);
        fs::create_symlink(target, link);
        const Files files = filesIn(state_);
        EXPECT_EQ(refusal(after()), text) << target;
        EXPECT_EQ(filesIn(state_), files);
    }
    fs::remove(link);
    put(link, "a file");
    EXPECT_EQ(refusal(after()), text);
    fs::remove(link);
    fs::create_directory(link);
    EXPECT_EQ(refusal(after()), text);
}

TEST_F(GenerationsTest, APlantedLinkLeadsNobodyOut)
{
    const std::string outside = root_ + "/outside";
    put(outside + "/made-of", "documents 1\n");
    put(outside + "/precious", "precious");
    const Files files = filesIn(outside);

    fs::create_directory_symlink(outside, state_ + "/generations");
    EXPECT_EQ(refusal(before()), "cannot make the folder " + state_ + "/generations: File exists");
    fs::remove(state_ + "/generations");

    fs::create_directory(state_ + "/generations");
    fs::create_directory_symlink(outside, state_ + "/generations/1");
    EXPECT_EQ(up(before()).number, 2);

    const std::string folder = state_ + "/generations/2";
    fs::remove(folder + sensorpaths::schemeFile(0));
    fs::create_symlink(outside + "/precious", folder + sensorpaths::schemeFile(0));
    fs::create_symlink(outside + "/precious", folder + sensorpaths::kDebugMarkerFile);
    ASSERT_EQ(mkfifo((folder + sensorpaths::kConfigFolder + "/named0.cfg").c_str(), 0600), 0);
    const std::string made = up(after()).folder;
    EXPECT_FALSE(fs::exists(made + sensorpaths::kDebugMarkerFile));
    EXPECT_EQ(valueIn(made, 0, KEY_BRIGHTNESS), 50);
    EXPECT_EQ(filesIn(outside), files);
}

TEST_F(GenerationsTest, InstalledDocumentsThatAreMissingAreNamed)
{
    EXPECT_EQ(refusal(before(), root_),
              "the installed documents are not whole: there is no " + root_ + "/language/languages.xml");
    EXPECT_FALSE(fs::exists(state_ + "/current"));
}

// ---- broken off at each step -------------------------------------------------------------------------------------

// A camera with a saved value, and its device with other controls; or first contact.
class BrokenOff : public GenerationsTest, public testing::WithParamInterface<bool>
{
protected:
    void SetUp() override
    {
        GenerationsTest::SetUp();
        if (hasOld())
        {
            for (int i = 1; i <= 5; ++i)  // so many that one must go
            {
                put(state_ + "/generations/" + std::to_string(i) + "/made-of", "documents 0\n");
            }
            fs::create_directory_symlink("generations/5", state_ + "/current");
            up(before());
            save(state_ + "/generations/6", 0, KEY_BRIGHTNESS, 61);
            put(state_ + "/generations/6" + sensorpaths::kConfigFolder + "/named0.cfg", "hue 5\n");
        }
        begin_ = root_ + "/begin";
        fs::copy(state_, begin_, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        {
            const DiskSteps steps(state_);
            up(after());
            steps_ = steps.taken();
        }
        number_ = hasOld() ? 7 : 1;
        new_ = filesIn(state_ + "/generations/" + std::to_string(number_));
        old_ = hasOld() ? filesIn(state_ + "/generations/6") : Files();
        ASSERT_GT(steps_.size(), 60u);
        startAgain();
    }

    static bool hasOld() { return GetParam(); }

    // The tree as it was before.
    void startAgain() const
    {
        fs::remove_all(state_);
        fs::copy(begin_, state_, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    }

    // The old one or the new one is in force, whole, and the next start makes the new one.
    void expectWhole(const std::string& where, bool isDone = false) const
    {
        const std::optional<Generation> found = generationInForce(state_);
        ASSERT_TRUE(found.has_value() || (!hasOld() && !isDone)) << where;
        if (found)
        {
            const bool isNew = found->number >= number_;
            ASSERT_TRUE(isNew || (hasOld() && found->number == 6 && !isDone)) << where << ": " << found->number;
            ASSERT_TRUE(filesIn(found->folder) == (isNew ? new_ : old_)) << where;
            ASSERT_EQ(current(), "generations/" + std::to_string(found->number)) << where;
        }
        const Generation next = up(after());
        ASSERT_TRUE(filesIn(next.folder) == new_) << where;
        ASSERT_EQ(current(), "generations/" + std::to_string(next.number)) << where;
        ASSERT_EQ(generationInForce(state_)->number, next.number) << where;
        for (const std::string& name : generations())
        {
            ASSERT_TRUE(fs::exists(state_ + "/generations/" + name + "/made-of")) << where << ": " << name;
        }
    }

    std::string begin_;
    std::vector<DiskSteps::Step> steps_;
    int number_ = 0;
    Files new_;
    Files old_;
};

TEST_P(BrokenOff, ByAKillTheOldOneOrTheNewOneIsWhole)
{
    for (std::size_t nth = 0; nth < steps_.size(); ++nth)
    {
        startAgain();
        const pid_t child = fork();
        if (child == 0)
        {
            const DiskSteps steps(state_, DiskSteps::Mishap::kill, nth);
            up(after());
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << nth;
        expectWhole("killed before step " + std::to_string(nth) + " at " + steps_[nth].path);
    }
}

TEST_P(BrokenOff, ByAFailingDiskNothingIsLostAndTheErrorSaysWhere)
{
    for (const int error : {ENOSPC, EIO})
    {
        for (std::size_t nth = 0; nth < steps_.size(); ++nth)
        {
            startAgain();
            std::string what;
            std::size_t taken = 0;
            {
                const DiskSteps steps(state_, DiskSteps::Mishap::failure, nth, error);
                what = refusal(after());
                taken = steps.taken().size();
            }
            ASSERT_GT(taken, nth);
            const std::string where = "step " + std::to_string(nth) + " at " + steps_[nth].path + ": " + what;
            const std::optional<Generation> found = generationInForce(state_);
            // Once the new one is in force an old one that cannot be removed stays.
            ASSERT_TRUE(!what.empty() || (found && found->number == number_)) << where;
            ASSERT_TRUE(what.empty() || what.find(std::strerror(error)) != std::string::npos) << where;
            expectWhole(where);
        }
    }
}

// A disk keeps what was synced; of the rest it keeps what it likes.
class Disk
{
public:
    Disk(std::vector<DiskSteps::Step> steps, std::size_t count) : steps_(std::move(steps))
    {
        steps_.resize(count);
        for (std::size_t i = 0; i < count; ++i)
        {
            if (!isSafe(i) && changesANameOrData(steps_[i].kind))
            {
                loose_.push_back(i);
            }
        }
    }

    // The steps that a power cut may take back, each for itself.
    const std::vector<std::size_t>& loose() const { return loose_; }

    // Plays the steps but for those.
    void play(const std::string& root, const std::set<std::size_t>& lost) const
    {
        for (std::size_t i = 0; i < steps_.size(); ++i)
        {
            const DiskSteps::Step& step = steps_[i];
            const std::string path = root + "/" + step.path;
            std::error_code error;
            if (lost.count(i) != 0)
            {
                continue;
            }
            switch (step.kind)
            {
            case Kind::folder:
                fs::create_directory(path, error);
                break;
            case Kind::file:
            case Kind::write:
                if (step.kind == Kind::file || fs::exists(path))
                {
                    std::ofstream(path, std::ios::binary | std::ios::app) << step.text;
                }
                break;
            case Kind::link:
                fs::create_symlink(step.text, path, error);
                break;
            case Kind::rename:
                fs::rename(path, root + "/" + step.text, error);
                break;
            case Kind::remove:
                fs::remove(path, error);
                break;
            default:
                break;
            }
        }
    }

private:
    static bool changesANameOrData(Kind kind) { return kind != Kind::sync && kind != Kind::syncFolder; }

    static std::string folderOf(const std::string& path)
    {
        const std::size_t slash = path.rfind('/');
        return slash == std::string::npos ? "" : path.substr(0, slash);
    }

    // Whether a sync behind it has brought it to the disk.
    bool isSafe(std::size_t index) const
    {
        const DiskSteps::Step& step = steps_[index];
        for (std::size_t i = index + 1; i < steps_.size(); ++i)
        {
            const DiskSteps::Step& later = steps_[i];
            const bool isData = step.kind == Kind::write;
            if (isData ? later.kind == Kind::sync && later.path == step.path
                       : later.kind == Kind::syncFolder && later.path == folderOf(step.path))
            {
                return true;
            }
        }
        return false;
    }

    std::vector<DiskSteps::Step> steps_;
    std::vector<std::size_t> loose_;
};

TEST_P(BrokenOff, ByAPowerCutTheOldOneOrTheNewOneIsWhole)
{
    const auto mark = std::find_if(steps_.begin(), steps_.end(), [](const DiskSteps::Step& step) {
        return step.kind == Kind::rename && step.path.find("made-of") != std::string::npos;
    });
    ASSERT_NE(mark, steps_.end());
    for (std::size_t count = 0; count <= steps_.size(); ++count)
    {
        const Disk disk(steps_, count);
        const std::set<std::size_t> all(disk.loose().begin(), disk.loose().end());
        std::set<std::set<std::size_t>> losses = {{}, all};
        // From here on whatever is missing is missing in what counts as whole.
        for (const std::size_t one :
             count > static_cast<std::size_t>(mark - steps_.begin()) ? all : std::set<std::size_t>())
        {
            std::set<std::size_t> others = all;
            others.erase(one);
            losses.insert({{one}, others});
        }
        for (const std::set<std::size_t>& lost : losses)
        {
            startAgain();
            disk.play(state_, lost);
            expectWhole("power cut after step " + std::to_string(count) + ", " + std::to_string(lost.size()) +
                            " steps lost",
                        count == steps_.size());
            if (HasFatalFailure())
            {
                return;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Generations, BrokenOff, testing::Bool(),
                         [](const auto& instance) { return instance.param ? "WithAnOldOne" : "AtFirstContact"; });

}  // namespace
}  // namespace devices
