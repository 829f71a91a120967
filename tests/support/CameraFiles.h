#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "KeyVal.h"

namespace support {

constexpr int kCameraDevice = 1;
constexpr int kDomeDevice = 4;
constexpr int kLprDevice = 8;
constexpr int kFisheyeDevice = 9;

// One parameter of a style document; value may be negative.
struct Parameter
{
    int id;
    int value;
};

// What a camera finds on its file system before the first start.
struct CameraFiles
{
    int deviceType = kCameraDevice;
    std::string hardwareModel = "M1";
    std::string hardwareCode = "C1";
    // Style document: the five schedule parameters, then these.
    std::vector<Parameter> parameters;
    Parameter schedule[5] = {{8000, 0}, {8001, 8}, {8002, 0}, {8003, 18}, {8004, 0}};
    // Put into the style's last tab as it stands.
    std::string extraElements;
    // The whole style document, in place of the above, when not empty.
    std::string style;
    std::string diversity = "<None/>";
};

// A handful of parameters with a handler of each kind.
CameraFiles smallCamera();

std::string styleText(const CameraFiles& files);

// Writes machine information, style and diversity document to the places where the library looks for them.
void writeCameraFiles(const CameraFiles& files);

// Scheme file bytes.
std::string bytesOf(const std::vector<KeyVal>& records);
std::vector<KeyVal> recordsOf(const std::string& bytes);

}  // namespace support

// Comparable and readable in test messages.
bool operator==(const KeyVal& left, const KeyVal& right);
void PrintTo(const KeyVal& record, std::ostream* stream);
