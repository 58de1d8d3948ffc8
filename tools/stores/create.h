// Making a factory store on the mounted volumes.
#pragma once

#include <filesystem>
#include <string>

namespace tools {

struct CreateOptions {
    std::filesystem::path defaults; // personality file
    bool full = false;              // every record file, not only those that initialisation wants
    bool force = false;             // replace a store that is valid
    bool isVerbose = false;         // print what the layer below says too
};

struct CreateReport {
    std::size_t files;
    std::string version;
    std::size_t properties;
    bool isNamed; // the chassis name is in the boot environment
};

// Makes the store. Throws std::runtime_error with a sentence for the
// user; what was finished by then stays and is used by the next try.
CreateReport createStore(const CreateOptions& options);

} // namespace tools
