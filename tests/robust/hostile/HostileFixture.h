#pragma once

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "tests/support/ControllerFixture.h"

namespace support {

// What a service that breaks its promises leaves in every word it can reach.
constexpr u32 kGarbage = 0xA5A5A5A5;
constexpr int kRefusal = -4;

// Bytes that a service may fill, or read, behind the data pointer of a call.
size_t dataSize(u32 cmd, int opt);

// A controller whose image-adjust service fails, lies or blocks. Scheme 0 is in force from 08:00 to 18:00, scheme 1
// from 18:00 to 22:00; the three scheduled schemes differ in brightness (10, 20, 30). Two controls depend on the
// sensor: 50 with the choices 1 to 4, and 96.
class HostileFixture : public ControllerFixture
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Writes the documents and the scheme files above and brings the controller up on them with a good service.
    void bringUpHostile();
    // The files of a camera that ran before, as bringUpHostile leaves them.
    void writeSavedCamera();

    enum class Callers
    {
        thisThread,  // the sensor thread is served well
        all,
    };
    // From now on these callers' calls are counted from 1, and call number first to last fail with kRefusal after
    // they have filled what they may fill with garbage.
    void failCalls(int first, int last, Callers callers = Callers::thisThread);
    int callsSeen() const { return *seen_; }
    // A service that keeps its promises again.
    void behave();

    // The whole round with a good service: set, read, save, switch, reload, style, and a switch by the clock.
    void expectWorks();

    const std::shared_ptr<std::atomic<int>> seen_ = std::make_shared<std::atomic<int>>(0);
};

// Texts of the error log that name the expressions of reports, in their order.
std::vector<std::string> reportedExpressions();

}  // namespace support
