// GL functions that the program fetches by name.
#pragma once

namespace shim {

using AnyFunction = void (*)();

// The function to hand to the program for this name: a tracing or answering one, or the one that was found.
AnyFunction WrapFetched(const char* name, AnyFunction found);

}  // namespace shim
