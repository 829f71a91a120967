#pragma once

#include <atomic>

// State bits of ISensorController::m_nFlags. The three busy bits are the only handshake between the host's calls
// and the sensor thread.
enum controller_flag_e : unsigned char
{
    kInitialising = 1 << 0,
    kStopping = 1 << 1,
    kInitialised = 1 << 2,    // cleared only by the next init
    kResetFlag = 1 << 3,      // factory reset running
    kReloadFlag = 1 << 4,     // reload of the last saved parameters running
    kSwitchingFlag = 1 << 5,  // a scheme is being applied

    kBusyMask = kResetFlag | kReloadFlag | kSwitchingFlag,
    // Parameters are being applied in bulk: one-shot actions among them must not run.
    kBulkMask = kInitialising | kBusyMask,
};

static_assert(kBusyMask == 0x38 && kBulkMask == 0x39, "hosts that log the flag byte rely on these bits");

inline bool isBusy(const std::atomic<unsigned char>& flags)
{
    return (flags & kBusyMask) != 0;
}

// Holds one bit up for a scope, or until it is lowered.
class RaisedFlag
{
public:
    RaisedFlag(std::atomic<unsigned char>& flags, controller_flag_e flag) : m_nFlags(flags), m_nFlag(flag)
    {
        m_nFlags |= m_nFlag;
    }
    ~RaisedFlag() { lower(); }
    RaisedFlag(const RaisedFlag&) = delete;
    RaisedFlag& operator=(const RaisedFlag&) = delete;

    void lower() { m_nFlags &= static_cast<unsigned char>(~m_nFlag); }

private:
    std::atomic<unsigned char>& m_nFlags;
    const controller_flag_e m_nFlag;
};
