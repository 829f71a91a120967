#include <atomic>
#include <cstring>

#include "tests/unit/services/checks/PortTest.h"

namespace checks_tests {
namespace {

using services::ImageService;

class ServiceChecks : public PortTest
{
protected:
    std::string report() { return reportOf(portcheck::checkService); }

    // What the service would answer, changed afterwards.
    template <typename Record>
    void changeAnswer(ia_cmd_e which, int option, std::function<void(Record&)> change)
    {
        script_.answerWith([=](ImageService& good, ia_cmd_e cmd, int opt, void* data) {
            const int status = good.call(cmd, opt, data);
            if (status == 0 && cmd == which && opt == option)
            {
                change(*static_cast<Record*>(data));
            }
            return status;
        });
    }

    void changeAllowed(std::function<void(ia_dynamic_params_attr_st&)> change)
    {
        changeAnswer(IA_CMD_GAMMA, IA_CMD_OPT_GET_PARAM_RNAGE, std::move(change));
    }

    void changeList(std::function<void(ia_dynamic_params_cmds_st&)> change)
    {
        changeAnswer(IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, std::move(change));
    }

    void changeCorrection(std::function<void(int&)> change)
    {
        changeAnswer(IA_CMD_GAMMA, IA_CMD_OPT_CORRECT_PARAM, std::move(change));
    }
};

TEST_F(ServiceChecks, PassTheSimulatorAndSetNothing)
{
    for (const int module : {1, 2})
    {
        ASSERT_TRUE(simulator_.setModule(module));
        EXPECT_THAT(report(), HasSubstr(" passed, 0 failed, 0 left out"));
    }
    EXPECT_TRUE(sets().empty());
}

TEST_F(ServiceChecks, TellOfARefusedList)
{
    failures_.add({IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, -7});
    EXPECT_THAT(report(), HasSubstr("with the number of its key: it is refused with -7"));
}

TEST_F(ServiceChecks, TellOfAListThatIsTooLong)
{
    changeList([](ia_dynamic_params_cmds_st& list) { list.cmd_cnt = kDynamicCmdsMax + 1; });
    EXPECT_THAT(report(), HasSubstr("with the number of its key: cmd_cnt is 17"));
}

TEST_F(ServiceChecks, TellOfAListedCommandWhoseKeyHasAnotherNumber)
{
    changeList([](ia_dynamic_params_cmds_st& list) { list.cmd_list[0] = IA_CMD_SENSOR_FPS; });
    EXPECT_THAT(report(), HasSubstr("IA_CMD_SENSOR_FPS is no command whose key has the same number"));
}

TEST_F(ServiceChecks, TellOfRefusedAllowedValues)
{
    failures_.add({IA_CMD_GAMMA, IA_CMD_OPT_GET_PARAM_RNAGE, -7});
    EXPECT_THAT(report(), HasSubstr("the allowed values of IA_CMD_GAMMA came with status -7"));
}

TEST_F(ServiceChecks, TellOfTooManyOrNoAllowedValues)
{
    for (const int count : {-1, 0, 65})
    {
        changeAllowed([count](ia_dynamic_params_attr_st& allowed) { allowed.items_cnt = count; });
        EXPECT_THAT(report(), HasSubstr("IA_CMD_GAMMA has items_cnt " + std::to_string(count)));
    }
}

TEST_F(ServiceChecks, TellOfAPreferredValueThatIsNotListed)
{
    changeAllowed([](ia_dynamic_params_attr_st& allowed) { allowed.default_value = 9; });
    EXPECT_THAT(report(), HasSubstr("IA_CMD_GAMMA prefers 9, which it does not list"));
}

TEST_F(ServiceChecks, TellOfARefusedCorrection)
{
    failures_.add({IA_CMD_GAMMA, IA_CMD_OPT_CORRECT_PARAM});
    EXPECT_THAT(report(), HasSubstr("IA_CMD_GAMMA: -2147483648 is refused"));
}

TEST_F(ServiceChecks, TellOfACorrectionToWhatIsNotListed)
{
    changeCorrection([](int& value) { value = 9; });
    EXPECT_THAT(report(), HasSubstr("IA_CMD_GAMMA: -1 becomes 9, which is not listed"));
}

TEST_F(ServiceChecks, TellOfACorrectionOfWhatIsListed)
{
    changeCorrection([](int& value) { value = 0; });
    EXPECT_THAT(report(), HasSubstr("IA_CMD_GAMMA: 1 is listed and becomes 0"));
}

TEST_F(ServiceChecks, TellOfACorrectionThatIsCorrectedAgain)
{
    changeCorrection([](int& value) { value = value == 0 ? 1 : 0; });
    EXPECT_THAT(report(), HasSubstr("becomes 1, and that becomes 0"));
}

TEST_F(ServiceChecks, TellOfEveryAnswerThatIsLongerThanItsRecord)
{
    struct Overrun
    {
        ia_cmd_e cmd;
        int opt;
        std::size_t size;
    };
    for (const Overrun& overrun :
         {Overrun{IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET, 4}, Overrun{IA_CMD_BRIGHTNESS, IA_CMD_OPT_CORRECT_PARAM, 4},
          Overrun{IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET_EXEC_STATUS, 4},
          Overrun{IA_CMD_BRIGHTNESS, IA_CMD_OPT_GET_PARAM_RNAGE, 276}, Overrun{IA_CMD_DTN_THR, IA_CMD_OPT_GET, 8},
          Overrun{IA_CMD_DTN_H, IA_CMD_OPT_GET, 16}, Overrun{IA_CMD_DN_STATE, IA_CMD_OPT_GET, 4},
          Overrun{IA_CMD_AF_STATISTIC, IA_CMD_OPT_GET, 4}, Overrun{IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET, 50},
          Overrun{IA_CMD_DYNAMIC_PARAMS_CMDS_GET, IA_CMD_OPT_GET, 68}})
    {
        std::atomic<int> calls{0};
        script_.answerWith([&](ImageService& good, ia_cmd_e cmd, int opt, void* data) {
            const int status = good.call(cmd, opt, data);
            if (data != nullptr && cmd == overrun.cmd && opt == overrun.opt)
            {
                ++calls;
                static_cast<char*>(data)[overrun.size] = 1;
            }
            return status;
        });
        EXPECT_THAT(report(), HasSubstr("more than " + std::to_string(overrun.size) + " bytes came"))
            << overrun.cmd << " " << overrun.opt;
        EXPECT_GT(calls, 0);
    }
}

TEST_F(ServiceChecks, LetAThresholdBeReadAsAWordOrAsTheWholeRecord)
{
    script_.answerWith([](ImageService& good, ia_cmd_e cmd, int opt, void* data) {
        if (opt == IA_CMD_OPT_GET && cmd == IA_CMD_DTN_THR && data != nullptr)
        {
            *static_cast<dn_thr_st*>(data) = {20, 60};
            return 0;
        }
        return good.call(cmd, opt, data);
    });
    EXPECT_THAT(report(), HasSubstr(" 0 failed"));
}

TEST_F(ServiceChecks, TellOfAVersionWithoutEnd)
{
    changeAnswer<char>(IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET,
                       [](char& first) { std::memset(&first, 'v', kCameraVersionSize); });
    EXPECT_THAT(report(), HasSubstr("at most 49 characters: 50 bytes without a terminator"));
}

TEST_F(ServiceChecks, LetAServiceHaveNoVersion)
{
    failures_.add({IA_CMD_CAMERA_VERSION, IA_CMD_OPT_GET});
    EXPECT_THAT(report(), HasSubstr(" 0 failed"));
}

TEST_F(ServiceChecks, TellOfACallWithoutDataThatSucceeds)
{
    script_.answerWith([](ImageService& good, ia_cmd_e cmd, int opt, void* data) {
        return cmd == IA_CMD_GAMMA && data == nullptr ? 0 : good.call(cmd, opt, data);
    });
    EXPECT_THAT(report(), HasSubstr("a get of IA_CMD_GAMMA without data is a success"));
}

TEST_F(ServiceChecks, TellOfAnUnknownCommandThatSucceeds)
{
    script_.answerWith(
        [](ImageService& good, ia_cmd_e cmd, int opt, void* data) { return cmd == 0 ? 0 : good.call(cmd, opt, data); });
    EXPECT_THAT(report(), HasSubstr("a get of command 0 is a success"));
}

TEST_F(ServiceChecks, TellOfAnswersThatDifferWhenSeveralAsk)
{
    std::atomic<int> calls{0};
    script_.answerWith([&](ImageService& good, ia_cmd_e cmd, int opt, void* data) {
        const int status = good.call(cmd, opt, data);
        if (status == 0 && cmd == IA_CMD_CAMERA_VERSION)
        {
            std::snprintf(static_cast<char*>(data), kCameraVersionSize, "call %d", ++calls);
        }
        return status;
    });
    EXPECT_THAT(report(), HasSubstr("the same answers as one alone: 400 of 400 rounds differ"));
}

}  // namespace
}  // namespace checks_tests
