#include "camera/Transfer.h"

#include <future>
#include <thread>

#include "SensorPaths.h"
#include "camera/KeyNames.h"
#include "tests/unit/camera/CameraFixture.h"

using namespace support;
using camera::Import;
using camera::ImportResult;
using camera::Skipped;
using camera::Stored;

namespace {

class CameraTransfer : public CameraTest
{
protected:
    void begin(const std::string& model = "fixed")
    {
        bringUp(model);
        c().setMode(false);
        c().setScheme(0);
        wanted_.model = model;
    }

    // Of the one scheme.
    static std::vector<Skipped> skipped(const ImportResult& result)
    {
        std::vector<Skipped> list;
        for (const ImportResult::Entry& entry : result.schemes.at(0).values)
        {
            list.push_back(entry.skipped);
        }
        return list;
    }

    static Import importOf(const camera::Export& all)
    {
        Import wanted = {all.model, all.automatic, {}};
        for (const camera::Export::Scheme& scheme : all.schemes)
        {
            wanted.schemes.push_back({scheme.scheme, scheme.window, {}});
            for (const camera::Value& value : scheme.values)
            {
                wanted.schemes.back().values.push_back({camera::findKey(value.key)->name, value.value});
            }
        }
        return wanted;
    }

    Import wanted_;
};

TEST_F(CameraTransfer, AllSchemesGoOutWithWindowsAndValuesAsTheyAreInMemory)
{
    begin();
    c().apply({{KEY_BRIGHTNESS, 61}});
    c().setWindow(1, {true, 8, 0, 18, 0});
    const camera::Export all = c().exported();
    EXPECT_EQ(all.model, "fixed");
    EXPECT_FALSE(all.automatic);
    ASSERT_EQ(all.schemes.size(), 4u);
    EXPECT_EQ(all.schemes[1].window.startHour, 8u);
    for (const camera::Value& value : all.schemes[0].values)
    {
        EXPECT_NE(value.key, KEY_SCHEME_ENABLE);
        EXPECT_TRUE(value.key != KEY_BRIGHTNESS || value.value == 61);
    }
}

TEST_F(CameraTransfer, ThePlanSaysWhyAValueStaysOutAndChangesNothing)
{
    begin();
    wanted_.schemes = {{1,
                        SchemeWindow{true, 22, 0, 6, 0},
                        {{"KEY_BRIGHTNESS", 61},
                         {"KEY_CONTRAST", 300},
                         {"KEY_NONSENSE", 1},
                         {"KEY_SATURATION", std::nullopt},
                         {"KEY_MZOOM_SPEED", 1},
                         {"KEY_SCHEME_ENABLE", 1},
                         {"KEY_SHARPNESS", 50}}},
                       {9, std::nullopt, {{"KEY_BRIGHTNESS", 61}}}};
    const ImportResult plan = c().wouldImport(wanted_);
    EXPECT_EQ(skipped(plan),
              (std::vector<Skipped>{Skipped::no, Skipped::outOfRange, Skipped::unknownKey, Skipped::wrongType,
                                    Skipped::notInModel, Skipped::ofWindow, Skipped::no}));
    EXPECT_TRUE(plan.sameModel);
    EXPECT_EQ(plan.schemes[0].window, WINDOW_NOT_FORWARD);
    EXPECT_EQ(plan.schemes[0].values[1].key->allowed->allowed.maximum, 100);
    EXPECT_EQ(plan.schemes[1].stored, Stored::noScheme);
    EXPECT_EQ(c().schemeValue(1, KEY_BRIGHTNESS), 50);
}

TEST_F(CameraTransfer, WhatFitsIsStoredInFileAndMemoryAndInForce)
{
    begin();
    wanted_.model = "lpr";
    wanted_.automatic = true;
    wanted_.schemes = {{0, std::nullopt, {{"KEY_BRIGHTNESS", 61}, {"KEY_CONTRAST", 300}}},
                       {9, std::nullopt, {}},
                       {2, SchemeWindow{true, 8, 0, 18, 0}, {{"KEY_BRIGHTNESS", 62}}}};
    const ImportResult result = c().import(wanted_);
    EXPECT_FALSE(result.sameModel);
    EXPECT_FALSE(result.failed.has_value());
    EXPECT_EQ(applied(IA_CMD_BRIGHTNESS), 61);
    EXPECT_EQ(c().schemeValue(0, KEY_CONTRAST), 50);
    EXPECT_EQ(c().schemeValue(2, KEY_BRIGHTNESS), 62);
    EXPECT_TRUE(c().schedule().windows[2].enabled);
    EXPECT_TRUE(c().unsaved().empty());
    EXPECT_NE(c().mode(), 0);
}

TEST_F(CameraTransfer, ASchemeThatCannotBeStoredEndsTheImportAndItSaysWhatWasDone)
{
    begin();
    std::remove(sensorpaths::schemeFile(1).c_str());
    wanted_.automatic = true;
    for (const int scheme : {0, 1, 2})
    {
        wanted_.schemes.push_back({scheme, std::nullopt, {{"KEY_BRIGHTNESS", 61}}});
    }
    const ImportResult result = c().import(wanted_);
    EXPECT_EQ(result.failed, 1u);
    EXPECT_EQ(result.schemes[0].stored, Stored::done);
    EXPECT_EQ(result.schemes[1].stored, Stored::noRecord);
    EXPECT_FALSE(result.schemes[2].reached);
    EXPECT_EQ(c().schemeValue(0, KEY_BRIGHTNESS), 61);
    EXPECT_EQ(c().schemeValue(1, KEY_BRIGHTNESS), 50);
    EXPECT_EQ(c().schemeValue(2, KEY_BRIGHTNESS), 50);
    EXPECT_EQ(c().mode(), 0);
}

TEST_F(CameraTransfer, ExportResetImportExportGivesTheSame)
{
    begin();
    c().apply({{KEY_BRIGHTNESS, 61}, {KEY_MIRROR, 3}});
    c().setValues(2, {{KEY_CONTRAST, 70}});
    c().setWindow(2, {true, 8, 0, 18, 30});
    const camera::Export before = c().exported();
    c().factoryReset();
    ASSERT_EQ(c().schemeValue(2, KEY_CONTRAST), 50);
    c().import(importOf(before));
    const camera::Export after = c().exported();
    EXPECT_EQ(after.automatic, before.automatic);
    for (std::size_t scheme = 0; scheme < before.schemes.size(); ++scheme)
    {
        const auto& [number, window, values, controls] = before.schemes[scheme];
        EXPECT_EQ(after.schemes[scheme].window.endMinute, window.endMinute);
        ASSERT_EQ(after.schemes[scheme].values.size(), values.size());
        for (std::size_t i = 0; i < values.size(); ++i)
        {
            EXPECT_EQ(after.schemes[scheme].values[i].value, values[i].value) << number << " " << values[i].key;
        }
    }
}

TEST_F(CameraTransfer, WhatAnotherModelExportsFits)
{
    begin("lpr");
    const Import wanted = importOf(c().exported());
    TearDown();
    SetUp();
    begin("fixed");
    const ImportResult result = c().import(wanted);
    EXPECT_FALSE(result.sameModel);
    EXPECT_FALSE(result.failed.has_value());
}

TEST_F(CameraTransfer, WhatGoesOutBesideAnImportIsFromBeforeItOrFromAfterIt)
{
    constexpr int kChances = 1000;  // for a reader that nobody holds back
    begin();
    wanted_.schemes = {{1, {}, {{"KEY_BRIGHTNESS", 61}}}, {2, {}, {{"KEY_BRIGHTNESS", 62}}}};
    std::future<camera::Export> reader;
    const int subscription = c().events().subscribe([&](const camera::Event& event) {
        if (event.kind == camera::Event::Kind::saved && event.scheme == 1)
        {
            reader = std::async(std::launch::async, [this] { return c().exported(); });
            for (int i = 0; i < kChances; ++i)
            {
                std::this_thread::yield();
            }
        }
    });
    c().import(wanted_);
    c().events().unsubscribe(subscription);
    const camera::Export all = reader.get();
    const auto brightness = [&all](std::size_t scheme) {
        for (const camera::Value& value : all.schemes.at(scheme).values)
        {
            if (value.key == KEY_BRIGHTNESS)
            {
                return value.value;
            }
        }
        return -1;
    };
    EXPECT_EQ(brightness(1), 61);
    EXPECT_EQ(brightness(2), 62);
}

}  // namespace
