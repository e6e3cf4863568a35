// The steps of the program's own source, which keeps its functions to itself.
#include "Steps.h"

// NOLINTNEXTLINE(bugprone-suspicious-include): the functions are static to the source that includes them
#define main VesmaraMain
int VesmaraMain();
#include "main.cpp"
#undef main

namespace neighbours {

int SetModeOfLog() {
    SetPermissionsToLogFile();
    std::cout.flush();
    return 0;
}

}  // namespace neighbours
