#pragma once

/// What the library finds when it is loaded, in whatever program or library it was compiled: also where symbols are
/// hidden by default.
#define SENSORPLATFORM_API __attribute__((visibility("default")))
