#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace services {

// An open file that is closed with the object; -1 for none.
class Descriptor
{
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor()
    {
        if (number_ >= 0)
        {
            const int error = errno;  // why something failed, which whoever asks has still to learn
            close(number_);
            errno = error;
        }
    }

    int number() const { return number_; }

private:
    int number_;
};

}  // namespace services
