#pragma once

namespace base {

// The number at the start of text, base 10: leading white space and a sign are accepted, the first other
// character ends it, a text without digits gives 0. Clamped to 32 bits on every board, whatever the width of
// its long. text must be terminated and not null.
int decimal(const char* text);

}  // namespace base
