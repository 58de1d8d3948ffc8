// Preloaded into the standard environment tools: the simulated flash looks like the character
// device that it stands for. What is none they take for a file, where flags count upwards.
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>

int stat(const char* path, struct stat* status) {
    int const result = fstatat(AT_FDCWD, path, status, 0);
    if (result == 0 && strcmp(path, "/dev/mtd0") == 0) {
        status->st_mode = S_IFCHR | 0600;
    }
    return result;
}
