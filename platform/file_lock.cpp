#include <vxblade/platform.h>

#include <cerrno>

#include <fcntl.h>

int VX_PosixFileLockUnLock(int fd, int lock) {
    struct flock whole {}; // from offset 0, length 0: to the end, wherever that comes to be
    whole.l_type = lock != 0 ? F_WRLCK : F_UNLCK;
    whole.l_whence = SEEK_SET;
    int result = 0;
    do {
        result = ::fcntl(fd, F_SETLKW, &whole);
    } while (result < 0 && errno == EINTR);
    return result;
}
