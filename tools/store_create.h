// Making a factory store on the mounted volumes.
#pragma once

#include <filesystem>

namespace tools {

struct CreateOptions {
    std::filesystem::path defaults; // personality file
    bool full = false;              // every record file, not only those that initialisation wants
    bool force = false;             // replace a store that is valid
};

// Makes the store and prints what was made. Throws std::runtime_error with a sentence for the
// user; what was finished by then stays and is used by the next try.
void createStore(const CreateOptions& options);

} // namespace tools
