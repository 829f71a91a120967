#pragma once

namespace devices {

// Wakes a thread that polls. Thread-safe.
class Wake
{
public:
    // Throws std::system_error where there is no descriptor left: whoever sleeps could not be woken.
    Wake();
    ~Wake();

    Wake(const Wake&) = delete;
    Wake& operator=(const Wake&) = delete;

    // Readable from the first signal on, for good; each signal is an edge.
    int descriptor() const { return descriptor_; }
    void signal() const;

private:
    const int descriptor_;
};

}  // namespace devices
