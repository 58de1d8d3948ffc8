#include <vxblade/platform.h>

#include <cerrno>

#include <fcntl.h>

int VX_PosixFileLockUnLock(int fd, int operation) {
    if (operation != FILE_LOCK && operation != FILE_UNLOCK) {
        errno = EINVAL;
        return -1;
    }
    struct flock whole {}; // from offset 0, length 0: to the end, wherever that comes to be
    whole.l_type = operation == FILE_LOCK ? F_WRLCK : F_UNLCK;
    whole.l_whence = SEEK_SET;
    int result = 0;
    do {
        result = ::fcntl(fd, F_SETLKW, &whole);
    } while (result < 0 && errno == EINTR);
    return result;
}
