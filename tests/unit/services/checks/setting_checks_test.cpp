#include <algorithm>
#include <map>

#include "SensorKeys.h"
#include "services/checks/Commands.h"
#include "tests/unit/services/checks/PortTest.h"

namespace checks_tests {
namespace {

using services::ImageService;

class SettingChecks : public PortTest
{
protected:
    std::string report()
    {
        return reportOf([this](portcheck::Report& to) { portcheck::checkSetting(to, options_, factory_); });
    }

    std::map<u32, int> inForce() const
    {
        std::map<u32, int> values;
        for (const services::ParameterState& row : simulator_.parameters())
        {
            values[row.cmd] = row.value;
        }
        return values;
    }

    void makeFactory(std::vector<KeyVal> records)
    {
        factory_ = std::make_shared<const std::vector<KeyVal>>(std::move(records));
    }

    portcheck::Options options_ = [] {
        portcheck::Options options;
        options.set = true;
        return options;
    }();
    portcheck::Factory factory_;
};

TEST_F(SettingChecks, SetNothingUntilTold)
{
    options_.set = false;
    EXPECT_THAT(report(), HasSubstr("portcheck: 0 passed, 0 failed, 7 left out"));
    EXPECT_EQ(journal_.callCount(), 0u);
}

TEST_F(SettingChecks, MoveNoLensUntilTold)
{
    EXPECT_THAT(report(), HasSubstr("left out  zoom, focus and iris are set too: not told to, --lens"));
    const auto movesLens = [](const services::Call& call) {
        const auto& rows = portcheck::commands();
        return std::any_of(rows.begin(), rows.end(),
                           [&](const portcheck::Command& row) { return row.cmd == call.cmd && row.movesLens; });
    };
    const std::vector<services::Call> all = sets();
    EXPECT_FALSE(all.empty());
    EXPECT_TRUE(std::none_of(all.begin(), all.end(), movesLens));
}

// A service that focuses when day and night change.
class FocusingChecks : public SettingChecks
{
protected:
    void SetUp() override
    {
        SettingChecks::SetUp();
        set(IA_CMD_DN_AF_MODE, 1);
        set(IA_CMD_DN_MODE, 0);
        makeFactory({{KEY_DN_MODE, 1}});
        script_.answerWith([this](ImageService& good, ia_cmd_e cmd, int opt, void* data) {
            const int before = inForce().at(IA_CMD_DN_MODE);
            const int status = good.call(cmd, opt, data);
            switches_ += inForce().at(IA_CMD_DN_MODE) != before ? 1 : 0;
            focused_ += inForce().at(IA_CMD_DN_MODE) != before && inForce().at(IA_CMD_DN_AF_MODE) != 0 ? 1 : 0;
            return status;
        });
    }

    int switches_ = 0;
    int focused_ = 0;
};

TEST_F(FocusingChecks, MoveNoLensByAChangeOfDayAndNightEither)
{
    const std::map<u32, int> before = inForce();
    EXPECT_THAT(report(), HasSubstr(" 0 failed"));
    EXPECT_EQ(switches_, 2);
    EXPECT_EQ(focused_, 0);
    EXPECT_EQ(inForce(), before);
}

TEST_F(FocusingChecks, SetNothingWhereTheFocusCannotBeSwitchedOff)
{
    services::FailureRule rule{IA_CMD_DN_AF_MODE, IA_CMD_OPT_SET};
    rule.status = services::kNotSupported;
    failures_.add(rule);
    EXPECT_THAT(report(), HasSubstr("FAILED    focusing after a change of day and night can be switched off: a set of "
                                    "IA_CMD_DN_AF_MODE is refused with " +
                                    std::to_string(services::kNotSupported) + "\n"));
    EXPECT_EQ(sets().size(), 1u);
}

TEST_F(FocusingChecks, TellOfAFocusThatCannotBeSwitchedOnAgain)
{
    services::FailureRule rule{IA_CMD_DN_AF_MODE, IA_CMD_OPT_SET};
    rule.after = 1;
    failures_.add(rule);
    EXPECT_THAT(report(), HasSubstr("in force again: IA_CMD_DN_AF_MODE could not be put back\n"));
}

TEST_F(FocusingChecks, FocusWhenTheyAreTold)
{
    options_.lens = true;
    EXPECT_THAT(report(), HasSubstr(" 0 failed"));
    EXPECT_GT(focused_, 0);
}

TEST_F(SettingChecks, PutBackWhatWasInForceThoughParametersLimitEachOtherAndMotorsTakeTheirTime)
{
    options_.lens = true;
    set(IA_CMD_AUTO_FOCUS_MODE, 1);
    set(IA_CMD_BRIGHTNESS, 77);
    set(IA_CMD_GAMMA, 3);
    set(IA_CMD_CAP_OFF_ADJ_H_MIN, -128);
    set(IA_CMD_CAP_OFF_ADJ_H_CUR, -100);
    set(IA_CMD_CAP_OFF_ADJ_DIRECTION, 1);
    const std::map<u32, int> before = inForce();
    makeFactory({{KEY_BRIGHTNESS, 50},
                 {KEY_GAMMA, 0},
                 {KEY_CAP_OFF_ADJ_H_MIN, static_cast<u32>(-64)},
                 {KEY_CAP_OFF_ADJ_DIRECTION, 0},
                 {KEY_DTN_THR, 10},
                 {KEY_NTD_THR, 90},
                 {KEY_SCHEME_ENABLE, 1},
                 {KEY_IRIS_POSITION, 10},
                 {KEY_MZ_POSITION, 18000},
                 {KEY_ZOOM_IN, 1}});
    EXPECT_THAT(report(), HasSubstr(" 0 failed"));
    EXPECT_EQ(inForce(), before);
}

TEST_F(SettingChecks, PutBackThresholdsAndTimesThatAreReadAsWholeRecords)
{
    script_.answerWith([](ImageService& good, ia_cmd_e cmd, int opt, void* data) {
        if (opt == IA_CMD_OPT_GET && (cmd == IA_CMD_DTN_THR || cmd == IA_CMD_NTD_THR) && data != nullptr)
        {
            auto& record = *static_cast<dn_thr_st*>(data);
            return good.call(IA_CMD_DTN_THR, opt, &record.d2n_thr) + good.call(IA_CMD_NTD_THR, opt, &record.n2d_thr);
        }
        return good.call(cmd, opt, data);
    });
    const std::map<u32, int> before = inForce();
    makeFactory({{KEY_DTN_THR, 10}, {KEY_NTD_THR, 90}});
    EXPECT_THAT(report(), HasSubstr(" 0 failed"));
    EXPECT_EQ(inForce(), before);
    const std::vector<services::Call> all = sets();
    EXPECT_TRUE(std::any_of(all.begin(), all.end(), [](const services::Call& call) {
        return call.cmd == IA_CMD_DTN_THR && call.in[0] == 10 && call.in[1] == 90;
    }));
}

TEST_F(SettingChecks, TellOfAFactoryValueThatIsRefused)
{
    makeFactory({{KEY_BRIGHTNESS, 50}, {KEY_CONTRAST, 101}});
    EXPECT_THAT(report(), HasSubstr("FAILED    every factory value is accepted: IA_CMD_CONTRAST = 101 is refused "
                                    "with -4\n"));
}

TEST_F(SettingChecks, SendNoKeyThatIsOnlyStored)
{
    makeFactory({{KEY_SCHEME_ENABLE, 1}, {KEY_SCHEME_END_HOUR, 24}});
    EXPECT_THAT(report(), HasSubstr("passed    every factory value is accepted\n"));
    for (const services::Call& call : sets())
    {
        const u32 cmd = call.cmd;
        EXPECT_TRUE(cmd < KEY_SCHEME_ENABLE || cmd > KEY_SCHEME_END_MIN) << cmd;
    }
}

TEST_F(SettingChecks, LeaveAParameterAloneThatCannotBeReadAndPutBack)
{
    failures_.add({IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET});
    makeFactory({{KEY_BRIGHTNESS, 60}});
    EXPECT_THAT(report(), HasSubstr("they could not be put back, IA_CMD_BRIGHTNESS\n"));
    const std::vector<services::Call> all = sets();
    EXPECT_TRUE(
        std::none_of(all.begin(), all.end(), [](const services::Call& call) { return call.cmd == IA_CMD_BRIGHTNESS; }));
}

TEST_F(SettingChecks, TellOfARefusedRecordThatChangesOneOfItsFields)
{
    script_.answerWith([](ImageService& good, ia_cmd_e cmd, int opt, void* data) {
        const int status = good.call(cmd, opt, data);
        if (status == services::kOutOfRange && cmd == IA_CMD_DTN_H)
        {
            dn_time_st half{18, 0, 7, 0};
            good.call(cmd, opt, &half);
        }
        return status;
    });
    EXPECT_THAT(report(), HasSubstr("IA_CMD_DTN_H refused 2147483647 and went from 6 to 7"));
}

TEST_F(SettingChecks, LetAServiceClampWhatItAccepts)
{
    script_.answerWith([](ImageService& good, ia_cmd_e cmd, int opt, void* data) {
        int value = 0;
        if (cmd == IA_CMD_CONTRAST && opt == IA_CMD_OPT_SET && data != nullptr)
        {
            value = std::clamp(*static_cast<int*>(data), 0, 100);
            return good.call(cmd, opt, &value);
        }
        return good.call(cmd, opt, data);
    });
    EXPECT_THAT(report(), HasSubstr(" 0 failed"));
}

TEST_F(SettingChecks, TellOfASetThatWritesBehindItsRecord)
{
    script_.answerWith([](ImageService& good, ia_cmd_e cmd, int opt, void* data) {
        if (cmd == IA_CMD_NTD_M && opt == IA_CMD_OPT_SET && data != nullptr)
        {
            static_cast<int*>(data)[sizeof(dn_time_st) / sizeof(int)] = 0;
        }
        return good.call(cmd, opt, data);
    });
    EXPECT_THAT(report(), HasSubstr("FAILED    a set writes nothing behind its record: a set of IA_CMD_NTD_M"));
}

TEST_F(SettingChecks, TellOfSetsWithoutDataOrOfUnknownCommandsThatSucceed)
{
    script_.answerWith([](ImageService& good, ia_cmd_e cmd, int opt, void* data) {
        return opt == IA_CMD_OPT_SET && (data == nullptr || cmd == 0) ? 0 : good.call(cmd, opt, data);
    });
    const std::string all = report();
    EXPECT_THAT(all, HasSubstr("a set of IA_CMD_BRIGHTNESS without data is a success"));
    EXPECT_THAT(all, HasSubstr("a set of command 0 is a success"));
}

TEST_F(SettingChecks, TellWhatCouldNotBePutBack)
{
    set(IA_CMD_BRIGHTNESS, 77);
    script_.answerWith([](ImageService& good, ia_cmd_e cmd, int opt, void* data) {
        const bool isOldValue =
            cmd == IA_CMD_BRIGHTNESS && opt == IA_CMD_OPT_SET && data != nullptr && *static_cast<int*>(data) == 77;
        return isOldValue ? services::kOutOfRange : good.call(cmd, opt, data);
    });
    makeFactory({{KEY_BRIGHTNESS, 50}});
    EXPECT_THAT(report(), HasSubstr("in force again: IA_CMD_BRIGHTNESS could not be put back\n"));
}

}  // namespace
}  // namespace checks_tests
