#include "fuzz/Require.h"

#include <cstdio>
#include <cstdlib>

namespace fuzz {

void fail(const char* condition, const char* file, int line)
{
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

}  // namespace fuzz
