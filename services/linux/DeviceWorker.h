#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "services/linux/Control.h"
#include "services/linux/ControlQueue.h"
#include "services/linux/Wake.h"

namespace devices {

// Called on the worker's thread, which holds no lock: any call of the worker is allowed but ending it. Must not throw.
class WorkerListener
{
public:
    virtual ~WorkerListener() = default;

    // The device is there, for the first time or again. values: what was found, where nothing had been wished yet.
    virtual void opened(const std::vector<Control>& controls, const Values& values) = 0;
    // The device is gone.
    virtual void lost() = 0;
    // What changed, by control. A call that takes long is no news: the thread is in it. Whoever asks for a report sees it.
    virtual void told(const News& news) = 0;
};

// The thread that brings one device to what is wished. Thread-safe; no call waits for the device, but the end of this
// object waits for a call under way.
class DeviceWorker
{
public:
    // Null while the device is not there. Called on the worker's thread, with pauses between.
    using Open = std::function<std::unique_ptr<ControlDevice>()>;

    // The listener must outlive it.
    DeviceWorker(Open open, WorkerListener& listener, Patience patience = {}, Others others = Others::putBack);
    ~DeviceWorker();

    DeviceWorker(const DeviceWorker&) = delete;
    DeviceWorker& operator=(const DeviceWorker&) = delete;

    // The newest wish of each control counts.
    void wish(const std::vector<Setting>& settings);
    // A button; not while the device is not there.
    void press(u32 id);
    // What is wished of this control is sent once more.
    void again(u32 id);
    // Whether it is put back, also where others' values are taken over.
    void guard(u32 id, bool isGuarded);
    // Something has come or gone: a device that is not there any more is lost, and looked for at once, and again as after
    // a first failure.
    void plugged();
    // Another program may have set something, and the driver may not tell: what is wished is read and compared.
    void lookAgain();

    Report report(u32 id) const;
    // It does not answer, or did not a moment ago.
    bool isStuck() const;

private:
    // What the thread sleeps for: to be woken, and what the device tells.
    class Events
    {
    public:
        explicit Events(const Wake& wake);
        ~Events();
        void add(int device) const;
        void remove(int device) const;
        // True if the device has something to tell.
        bool wait(int timeout) const;

    private:
        const int descriptor_;
    };

    template <typename Change>
    void change(const Change& change);
    void run();
    void checkDevice();
    void openDevice();
    Values find(const std::vector<Control>& controls);
    void sendNext();
    void look();
    bool waitForMore();
    void hear();
    void loseDevice();
    void tell();

    const Open open_;
    WorkerListener& listener_;
    const Patience patience_;
    const Wake wake_;
    const Events events_{wake_};

    // The thread's own.
    std::unique_ptr<ControlDevice> device_;
    Instant now_{};  // when it woke up, or its last call of the device ended

    mutable std::mutex mutex_;  // never held during a call of the device or the listener

    // Guarded by mutex_.
    ControlQueue queue_;
    bool isEnding_ = false;
    bool isAsleep_ = false;   // and is to be woken
    bool isPlugged_ = false;  // something was, and the device is to be asked whether it is still there
    int openings_ = 0;        // that failed, or did not last, one after the other
    Instant nextOpening_{};
    Instant opened_{};

    std::thread thread_;  // last: it uses the others
};

}  // namespace devices
