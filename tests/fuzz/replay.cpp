// Runs a fuzz target on the files of folders: what fuzzing found stays tested in every build.
#include "tests/fuzz/fuzz.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace fs = std::filesystem;

int main(int argc, char** argv) {
    int inputs = 0;
    if (std::freopen("/dev/null", "w", stdout) == nullptr) { // what the layer reports
        return 1;
    }
    for (char** folder = argv + 1; folder < argv + argc; ++folder) {
        for (const fs::directory_entry& entry : fs::directory_iterator(*folder)) {
            std::ifstream file(entry.path(), std::ios::binary);
            std::vector<char> const bytes{std::istreambuf_iterator<char>(file), {}};
            std::fprintf(stderr, "%s\n", entry.path().c_str());
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
            ++inputs;
        }
    }
    return inputs > 0 ? 0 : 1;
}
