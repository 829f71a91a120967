#pragma once

#include "app/Options.h"

namespace app {

// "sensorcam passwd": sets or deletes a user's password. Throws std::runtime_error when it cannot; then the file is as
// it was.
void changePassword(const PasswordOptions& options);

}  // namespace app
