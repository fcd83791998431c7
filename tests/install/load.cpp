// load (now|lazy|global FILE)... exchange ENDPOINT: loads the libraries one after the other, with
// RTLD_NOW, RTLD_LAZY, or RTLD_NOW and RTLD_GLOBAL, and calls exchange(ENDPOINT) of the last one.

#include <cstdio>
#include <dlfcn.h>
#include <string>

namespace {

int modeOf(const std::string& name)
{
    return name == "lazy" ? RTLD_LAZY : name == "global" ? RTLD_NOW | RTLD_GLOBAL : RTLD_NOW;
}

} // namespace

int main(int argc, char** argv)
{
    void* library = nullptr;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string word = argv[i];
        if (word != "exchange") {
            library = dlopen(argv[i + 1], modeOf(word));
            if (library == nullptr) {
                std::fprintf(stderr, "%s\n", dlerror());
                return 3;
            }
            continue;
        }
        const auto exchange = reinterpret_cast<int (*)(char*)>(dlsym(library, "exchange"));
        if (exchange == nullptr) {
            std::fprintf(stderr, "%s\n", dlerror());
            return 4;
        }
        return exchange(argv[i + 1]);
    }
    std::fprintf(stderr, "usage: load (now|lazy|global FILE)... exchange ENDPOINT\n");
    return 2;
}
