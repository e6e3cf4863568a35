// Loads a shared object with the log in it, uses and unloads it, twice, and ends through exit.
//
// Arguments: the shared object, the program data path. Status 0 when all worked.
#include <dlfcn.h>

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    for (int round = 0; round < 2; ++round) {
        void* module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
        if (module == nullptr) {
            return 3;
        }
        const auto useLog = reinterpret_cast<int (*)(const char*)>(dlsym(module, "UseLog"));
        if (useLog == nullptr || useLog(argv[2]) != 1 || dlclose(module) != 0) {
            return 4;
        }
    }
    return 0;
}
