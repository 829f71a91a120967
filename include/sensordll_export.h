#pragma once

/// The library is built with hidden visibility: what carries SENSORDLL_API is its whole interface.
#define SENSORDLL_API __attribute__((visibility("default")))

/// Inside an exported class: kept out of the interface.
#define SENSORDLL_LOCAL __attribute__((visibility("hidden")))
