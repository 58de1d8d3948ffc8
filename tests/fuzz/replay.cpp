// Runs a fuzz target on the files of a folder: what fuzzing found stays tested in every build.
#include "tests/fuzz/fuzz.h"

#include <filesystem>
#include <iterator>

int main(int argc, char** argv) {
    int inputs = 0;
    bool const isQuiet = std::freopen("/dev/null", "w", stdout) != nullptr;
    for (auto const& entry : std::filesystem::directory_iterator(argc > 1 ? argv[1] : "")) {
        std::ifstream file(entry.path(), std::ios::binary);
        std::string const bytes{std::istreambuf_iterator<char>(file), {}};
        std::fprintf(stderr, "%s\n", entry.path().c_str());
        fuzz::run(bytes);
        ++inputs;
    }
    return isQuiet && inputs > 0 ? 0 : 1;
}
