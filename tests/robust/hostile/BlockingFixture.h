#pragma once

#include <memory>

#include "ia_ioctrl.h"
#include "tests/robust/hostile/Gate.h"
#include "tests/robust/hostile/HostileFixture.h"
#include "tests/support/WaitingCall.h"

namespace support {

constexpr unsigned char kBusyBits = kResetBit | kReloadBit | kSwitchingBit;

struct HostCall
{
    const char* name;
    std::function<void(ISensorController&)> call;
};

inline void PrintTo(const HostCall& call, std::ostream* stream)
{
    *stream << call.name;
}

// The operations that take no lock and may be called at any time.
std::vector<HostCall> callsWithoutLock();
// The operations that take the mutex, the two that wait for the busy bits and the factory reset excepted.
std::vector<HostCall> callsWithLock();

// A camera whose image-adjust service stops one thread inside a call until the test opens the gate.
class BlockingFixture : public HostileFixture
{
protected:
    void TearDown() override;

    // The next call of this command with this option stops at gate_; later ones pass.
    void stopNext(u32 cmd, int opt);

    // The clock says 18:00 and the sensor thread has stopped within its switch from scheme 0 to 1. Brightness, the
    // one value that differs, is what the service was being told.
    void stopThreadInSwitch();

    // The sensor thread has finished its switch and sleeps.
    bool threadIsThrough();

    // Whole turns of the sensor thread.
    testing::AssertionResult threadTurns(int count);

    const std::shared_ptr<Gate> gate_ = std::make_shared<Gate>();
};

}  // namespace support
