#include "fuzz/Inside.h"

// libFuzzer brings main; it calls this first, and LLVMFuzzerTestOneInput for every input.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    fuzz::enterPrivateTree(*argc, *argv, true);
    return 0;
}
