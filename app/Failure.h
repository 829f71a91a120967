#pragma once

#include <stdexcept>
#include <string>

#include "app/json/Error.h"
#include "camera/Failure.h"

namespace app {

// Why a camera cannot be started, in a sentence for the person at the terminal.
class Failure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// The same of a camera that says why.
std::string failureText(const camera::Failure& failure);

// "sensorcam: text" on standard error; with json the document {"ok":false,"error":{…}} on standard output.
void reportFailure(const std::string& text, bool json, ErrorCode code = ErrorCode::noCamera);

// "sensorcam: text" on standard error.
void notice(const std::string& text);

// "what: No such file or directory", from errno.
std::string systemError(const std::string& what);

}  // namespace app
