#include "services/linux/Filter.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <string>

#include "services/linux/ControlIds.h"

namespace {

using namespace std::chrono_literals;
using devices::Filter;
using devices::kFilter;
using devices::Setting;

class FilterTest : public testing::Test
{
protected:
    // Writes down what it is set to; fails with error_ when it is set high.
    std::unique_ptr<devices::Line> line(const std::string& name)
    {
        class Written : public devices::Line
        {
        public:
            Written(FilterTest& test, std::string name) : test_(test), name_(std::move(name)) {}

            int set(bool isHigh) override
            {
                test_.log_ += name_ + (isHigh ? "+ " : "- ");
                return isHigh ? test_.error_ : 0;
            }

            bool isThere() override { return test_.gone_ != name_; }

        private:
            FilterTest& test_;
            const std::string name_;
        };
        return std::make_unique<Written>(*this, name);
    }

    std::unique_ptr<Filter> byPulse()
    {
        return Filter::byPulse(line("in"), line("out"), 100ms,
                               [this](std::chrono::milliseconds span) { log_ += std::to_string(span.count()) + " "; });
    }

    static int move(Filter& filter, bool isIn)
    {
        std::vector<Setting> settings = {{kFilter, isIn ? 1 : 0}};
        return filter.set(settings);
    }

    std::string log_;
    int error_ = 0;
    std::string gone_;
};

TEST_F(FilterTest, IsOneControlThatCannotBeRead)
{
    const auto filter = Filter::byLevel(line("line"), true);
    ASSERT_EQ(1u, filter->controls().size());
    EXPECT_EQ(kFilter, filter->controls()[0].id);
    EXPECT_FALSE(filter->controls()[0].isReadable);
    std::int64_t value = 5;
    EXPECT_EQ(EPERM, filter->get(kFilter, value));
    EXPECT_EQ(5, value);
    std::vector<Setting> other = {{devices::kLampNear, 1}};
    EXPECT_EQ(EINVAL, filter->set(other));
    EXPECT_EQ("", log_) << "nothing moves before it is wished";
}

TEST_F(FilterTest, ByLevelTheLineStaysAsItIsSet)
{
    EXPECT_EQ(0, move(*Filter::byLevel(line("line"), true), true));
    EXPECT_EQ(0, move(*Filter::byLevel(line("line"), true), false));
    EXPECT_EQ(0, move(*Filter::byLevel(line("line"), false), true));
    EXPECT_EQ("line+ line- line- ", log_);
}

TEST_F(FilterTest, ByPulseTheLineOfTheWayIsHighForAWhile)
{
    const auto filter = byPulse();
    EXPECT_EQ(0, move(*filter, true));
    EXPECT_EQ(0, move(*filter, false));
    EXPECT_EQ("in+ 100 in- out+ 100 out- ", log_);
}

TEST_F(FilterTest, APulseThatFailsLeavesNoCoilOn)
{
    error_ = EIO;
    EXPECT_EQ(EIO, move(*byPulse(), true));
    EXPECT_EQ("in+ in- ", log_);
}

TEST_F(FilterTest, IsThereAsLongAsEachOfItsLines)
{
    const auto filter = byPulse();
    EXPECT_TRUE(filter->isThere());
    gone_ = "out";
    EXPECT_FALSE(filter->isThere());
    EXPECT_FALSE(Filter::byLevel(line("out"), true)->isThere());
    EXPECT_EQ("", log_) << "nothing moves when it is asked";
}

// Whose files are the lines; it writes down which.
class Lines : public devices::DeviceSource
{
public:
    int open(devices::Role, const std::string& file) override
    {
        asked += file + " ";
        const auto error = errors.find(file);
        return error != errors.end() ? -error->second : ::open("/dev/null", O_RDWR | O_CLOEXEC);
    }

    void listen(std::function<void()>) override {}

    std::string asked;
    std::map<std::string, int> errors;
};

TEST_F(FilterTest, OpensItsOwnLinesOnly)
{
    Lines source;
    int error = -1;
    devices::FilterLines lines;
    EXPECT_TRUE(Filter::open(source, lines, error));
    EXPECT_EQ(0, error);
    EXPECT_EQ("in ", source.asked);
    lines.out = 4;
    EXPECT_TRUE(Filter::open(source, lines, error));
    EXPECT_EQ("in in out ", source.asked);
    source.errors["out"] = EBUSY;
    EXPECT_FALSE(Filter::open(source, lines, error));
    EXPECT_EQ(EBUSY, error);
    source.errors["in"] = ENODEV;
    EXPECT_FALSE(Filter::open(source, lines, error));
    EXPECT_EQ(ENODEV, error);
}

TEST_F(FilterTest, ALineThatIsNoneIsNotMoved)
{
    Lines source;
    int error = -1;
    const auto filter = Filter::open(source, devices::FilterLines(), error);
    const int moved = move(*filter, true);
    EXPECT_TRUE(moved == ENOTTY || moved == ENOSYS) << moved << "; the second is the word of an emulated kernel";
    EXPECT_TRUE(filter->isThere());
}

}  // namespace
