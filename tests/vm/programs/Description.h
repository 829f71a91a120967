#ifndef TESTS_VM_PROGRAMS_DESCRIPTION_H
#define TESTS_VM_PROGRAMS_DESCRIPTION_H

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace vm {

// A control as UVC numbers it. Two of them share a request when they are halves of one, as pan and tilt are.
struct ControlKind
{
    const char* name;
    std::uint8_t unit;
    std::uint8_t selector;
    std::uint8_t bit;     // in the unit's bmControls
    std::uint8_t offset;  // bytes, within the request's data
    std::uint8_t size;    // bytes
    bool isSigned;
};

constexpr std::uint8_t kCameraTerminal = 1;
constexpr std::uint8_t kProcessingUnit = 2;
constexpr std::uint8_t kExtensionUnit = 4;

constexpr std::uint8_t kRead = 1;
constexpr std::uint8_t kSet = 2;
constexpr std::uint8_t kChanges = 8;  // by itself: it is to be read anew each time

struct Control
{
    const ControlKind* kind = nullptr;
    long minimum = 0;
    long maximum = 0;
    long step = 0;  // of the exposure mode: the modes there are, a bit each
    long byDefault = 0;
    long current = 0;
    std::uint8_t abilities = 0;  // as UVC numbers them: kRead, kSet, kChanges
};

// What a camera is. In text, a line each, in any order; empty lines and those that begin with # say nothing:
//   usb VENDOR:PRODUCT                       hexadecimal
//   product TEXT                             ASCII, and \uXXXX for any one unit of UTF-16, also half a pair
//   serial TEXT
//   jpeg FILE                                its picture; without it the camera makes its own, and does not compress it
//   control NAME MINIMUM..MAXIMUM/STEP DEFAULT [changes|read-only]
struct Description
{
    std::uint16_t vendor = 0x1d6b;
    std::uint16_t product = 0x0105;
    std::u16string name = u"Camera";
    std::u16string serial;  // empty: it has none
    std::string jpeg;       // the file's bytes, or empty
    std::vector<Control> controls;
};

// Throws std::runtime_error, which names the line.
Description readDescription(std::istream& text);

// All halves that UVC knows of one request, whether the camera has them or not; their sizes make its length.
std::vector<const ControlKind*> halvesOf(std::uint8_t unit, std::uint8_t selector);

}  // namespace vm

#endif
