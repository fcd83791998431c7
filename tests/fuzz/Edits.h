#ifndef OSTREL_TESTS_FUZZ_EDITS_H
#define OSTREL_TESTS_FUZZ_EDITS_H

#include "fuzz/Input.h"

/// Each makes the changes that the input chooses, one after the other, and compares objects,
/// exceptions and the log with a model after every one.
namespace fuzz {

void editTexts(Input& input);
void editBinaries(Input& input);
void editHandles(Input& input);

} // namespace fuzz

#endif
