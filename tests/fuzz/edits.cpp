// Sequences of operations on messages and handles, compared with models.
//
// The input: a byte that chooses what is edited, then the operations.
#include "fuzz/Edits.h"
#include "fuzz/Input.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    switch (input.byte() % 8) {
    case 0:
        fuzz::editHandles(input);
        break;
    case 1:
    case 2:
        fuzz::editTexts(input);
        break;
    default:
        fuzz::editBinaries(input);
        break;
    }
    return 0;
}
