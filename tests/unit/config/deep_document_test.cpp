#include "SensorFile.h"
#include "SysConfig.h"
#include "config/XmlCheck.h"
#include "tests/support/CameraFiles.h"
#include "tests/support/FakeService.h"
#include "tests/support/PrivateTree.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

// As many levels as are taken, through all that is done with a style.

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kStackBytes = 512 << 10;  // what they check makes frames larger, and their threads need room too
#else
constexpr size_t kStackBytes = 128 << 10;
#endif

void* run(void* body)
{
    (*static_cast<std::function<void()>*>(body))();
    return nullptr;
}

void runOnASmallStack(std::function<void()> body)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(0, pthread_attr_setstacksize(&attributes, kStackBytes));
    pthread_t thread;
    ASSERT_EQ(0, pthread_create(&thread, &attributes, run, &body));
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

// So many levels, in the last of them two parameters.
std::string nested(size_t levels)
{
    std::string text;
    std::string ends;
    for (size_t level = 1; level < levels; ++level)
    {
        text += "<T key='&#65;&amp;'>";
        ends += "</T>";
    }
    return text + "<P id='34' value='50'/>text &lt;<!-- comment --><P id='49' value='3'/>" + ends;
}

class DeepDocument : public support::PrivateTreeTest
{
protected:
    void SetUp() override
    {
        PrivateTreeTest::SetUp();
        std::strcpy(m_stModule.szDetail, "(model=A1)");
        m_service.setDynamicCommands({IA_CMD_MAX_SHUTTER});
        m_service.setAllowedValues(IA_CMD_MAX_SHUTTER, 7, {});
    }

    void TearDown() override
    {
        std::free(m_szStyle);
        PrivateTreeTest::TearDown();
    }

    void read(const std::string& style, std::string diversity)
    {
        m_szStyle = strdup(style.c_str());
        runOnASmallStack([&] {
            mergeStyle(&m_stModule, &m_szStyle, diversity.data());
            getFctData(m_szStyle, m_records, &m_nCount);  // which adapts the style to the service
        });
    }

    support::FakeService m_service;
    ModuleConfig m_stModule = {};
    char* m_szStyle = nullptr;
    KeyVal m_records[100] = {};
    u32 m_nCount = 0;
};

TEST_F(DeepDocument, IsMergedAdaptedAndReadOnASmallStack)
{
    // A rule's tab lies two levels higher in the style than in the rules.
    const std::string tab = nested(config::kXmlDepthMax - 2);
    read("<S><T key='a'/>" + nested(config::kXmlDepthMax - 1) + "</S>",
         "<R model='A1'><AddAfter tab_key='a'>" + tab + "</AddAfter><Modify tab_key='a'>" + tab + "</Modify></R>");
    ASSERT_EQ(6U, m_nCount);
    for (const u32 i : {0U, 2U, 4U})
    {
        EXPECT_EQ((KeyVal{34, 50}), m_records[i]);
        EXPECT_EQ((KeyVal{49, 7}), m_records[i + 1]);
    }
}

TEST_F(DeepDocument, WithALevelMoreIsRefused)
{
    read("<S>" + nested(config::kXmlDepthMax) + "</S>", "<R/>");
    EXPECT_STREQ("", m_szStyle);
    EXPECT_EQ(0U, m_nCount);
}

}  // namespace
