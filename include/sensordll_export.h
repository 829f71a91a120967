#pragma once

/// The library is built with hidden visibility: what carries SENSORDLL_API is its whole interface.
#define SENSORDLL_API __attribute__((visibility("default")))

/// For a type nested in an exported class: not part of the interface.
#define SENSORDLL_LOCAL __attribute__((visibility("hidden")))
