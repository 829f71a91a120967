#include "services/linux/Identity.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <set>
#include <stdexcept>

#include "tests/unit/services/linux/MadeTree.h"

namespace {

using devices::CameraNode;
using devices::safeName;

class IdentityTest : public testing::Test
{
protected:
    std::vector<CameraNode> find() const { return devices::findCameras(tree_.roots(), tree_.query()); }

    std::string identities() const
    {
        std::string all;
        for (const CameraNode& camera : find())
        {
            all += camera.identity + " ";
        }
        return all;
    }

    std::string chosen(const std::string& name) const
    {
        try
        {
            return devices::chooseCamera(find(), name).identity;
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
    }

    support::MadeTree tree_;
};

TEST_F(IdentityTest, IsVendorProductAndSerialNumberWhereverItIsPluggedIn)
{
    tree_.plug(0, "1", "4A1B");
    ASSERT_EQ(1u, find().size()) << "the second node gives no picture";
    EXPECT_EQ("1d6b-0105-4A1B", find()[0].identity);
    EXPECT_EQ("/tmp/tree/dev/video0", find()[0].node);
    EXPECT_EQ("Webcam: Webcam", find()[0].name);
    EXPECT_EQ("uvcvideo", find()[0].driver);
    EXPECT_EQ("4A1B", find()[0].serial);
    tree_.pull("1");
    EXPECT_EQ("", identities());
    tree_.plug(10, "2.4", "4A1B");
    EXPECT_EQ("1d6b-0105-4A1B ", identities());
}

TEST_F(IdentityTest, HasThePortWhereThereIsNoSerialNumber)
{
    tree_.plug(0, "1", "");
    tree_.plug(2, "2.4", " \t ");
    EXPECT_EQ("1d6b-0105_p0000.00.14.0-1 1d6b-0105_p0000.00.14.0-2.4 ", identities());
}

TEST_F(IdentityTest, HasThePortWhileTwoHaveTheSameSerialNumber)
{
    tree_.plug(0, "1", "7");
    tree_.plug(2, "2", "7");
    tree_.plug(4, "3", "8");
    EXPECT_EQ("1d6b-0105-7_p0000.00.14.0-1 1d6b-0105-7_p0000.00.14.0-2 1d6b-0105-8 ", identities());
    EXPECT_EQ("1d6b-0105-7_p0000.00.14.0-2", chosen("1d6b-0105-7_p0000.00.14.0-2"));
    EXPECT_EQ(0u,
              chosen("1d6b-0105-7").find("more than one camera is called 1d6b-0105-7; take one of:\n  1d6b-0105-7_p"));
    tree_.pull("1");
    EXPECT_EQ("1d6b-0105-7 1d6b-0105-8 ", identities());
    EXPECT_EQ("1d6b-0105-7", chosen("1d6b-0105-7_p0000.00.14.0-2")) << "it is still called so";
}

TEST_F(IdentityTest, ASerialNumberMayBeAnyBytes)
{
    tree_.plug(0, "1", "../\xff");
    tree_.plug(2, "2", "../\xfe");
    tree_.plug(4, "3", "\x01\xff");
    EXPECT_EQ("1d6b-0105-.._2F_FF 1d6b-0105-.._2F_FE 1d6b-0105_p0000.00.14.0-3 ", identities());
    EXPECT_EQ("../", find()[0].serial);
    EXPECT_EQ("", find()[2].serial);
}

TEST_F(IdentityTest, TwoCamerasInOneHousingAreTwo)
{
    tree_.plug(0, "1", "7");
    tree_.plug(2, "1", "7", "02");
    EXPECT_EQ("1d6b-0105-7 1d6b-0105.02-7 ", identities());
}

TEST_F(IdentityTest, WithoutUsbIsDriverAndBus)
{
    tree_.add(0, "sys/devices/platform/vivid.0", 0, {V4L2_CAP_VIDEO_CAPTURE, "vivid", "platform:vivid-000"});
    tree_.add(1, "sys/devices/platform/vivid.0", 1, {V4L2_CAP_VIDEO_CAPTURE, "vivid", "platform:vivid-001"});
    tree_.add(2, "sys/devices/platform/isp", 0, {V4L2_CAP_VIDEO_OUTPUT, "isp", "platform:isp"});
    tree_.add(3, "sys/devices/platform/isp", 1, {V4L2_CAP_VIDEO_CAPTURE_MPLANE, "isp", "platform:isp"});
    tree_.add(4, "sys/devices/platform/isp", 2, {V4L2_CAP_VIDEO_CAPTURE_MPLANE, "isp", "platform:isp"});
    EXPECT_EQ("vivid-platform.vivid-000 vivid-platform.vivid-001 isp-platform.isp ", identities());
    EXPECT_EQ("/tmp/tree/dev/video3", find()[2].node);
}

TEST_F(IdentityTest, ANodeThatMayNotBeOpenedIsThereAllTheSame)
{
    tree_.plug(0, "1", "4A1B");
    tree_.errors = {{"/tmp/tree/dev/video0", EACCES}, {"/tmp/tree/dev/video1", EACCES}};
    ASSERT_EQ("1d6b-0105-4A1B ", identities());
    EXPECT_EQ(EACCES, find()[0].error);
    EXPECT_EQ("Webcam in sysfs", find()[0].name);
}

TEST_F(IdentityTest, ACameraIsCalledByIdentityNodeLinkOrSerialNumber)
{
    tree_.plug(9, "1", "4A1B");
    tree_.plug(11, "2", "");
    tree_.link("dev/video9", "dev/v4l/by-id/usb-Webcam-index0");
    for (const char* name :
         {"1d6b-0105-4A1B", "4A1B", "/tmp/tree/dev/video9", "/tmp/tree/dev/v4l/by-id/usb-Webcam-index0"})
    {
        EXPECT_EQ("1d6b-0105-4A1B", chosen(name)) << name;
    }
    EXPECT_EQ("no camera is called nobody; there is:\n"
              "  1d6b-0105-4A1B  /tmp/tree/dev/video9  Webcam: Webcam\n"
              "  1d6b-0105_p0000.00.14.0-2  /tmp/tree/dev/video11  Webcam: Webcam",
              chosen("nobody"));
    EXPECT_EQ(0u, chosen("").find("no camera is called ;"));
    tree_.pull("1");
    tree_.pull("2");
    EXPECT_EQ("no camera is plugged in; sensorcam devices shows what there is", chosen("nobody"));
}

TEST(SafeName, WhatDiffersStaysDifferent)
{
    const std::string serials[] = {"4A1B",
                                   "4a1b",
                                   "../../etc",
                                   "..",
                                   ".",
                                   "a/b",
                                   "a_b",
                                   "a_2Fb",
                                   "a%2Fb",
                                   "a b",
                                   "a\nb",
                                   "\x01",
                                   "\x80",
                                   "_",
                                   "__",
                                   "-",
                                   std::string(126, 'A'),
                                   std::string(127, 'A'),
                                   std::string(126, '/'),
                                   std::string("\0", 1),
                                   "\xc3\xa4"};
    std::set<std::string> names;
    for (const std::string& serial : serials)
    {
        const std::string name = safeName(serial);
        EXPECT_TRUE(names.insert(name).second) << name;
        EXPECT_EQ(std::string::npos,
                  name.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz._-"));
        EXPECT_GE(32u, name.size());
    }
    EXPECT_EQ("a_2Fb", safeName("a/b"));
    EXPECT_EQ("SN-0001.2", safeName("SN-0001.2"));
}

TEST(QueryNode, OpensNothingThatIsNoVideoNode)
{
    v4l2_capability capability = {};
    EXPECT_EQ(ENOENT, devices::queryNode("/nowhere/video0", capability));
    EXPECT_EQ(ENOTTY, devices::queryNode("/dev/null", capability));
    ASSERT_EQ(0, mkfifo("/tmp/video0", 0600));
    EXPECT_EQ(ENOTTY, devices::queryNode("/tmp/video0", capability));
}

}  // namespace
