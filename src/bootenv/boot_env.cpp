// Loading and saving the boot environment: two copies, of which one is whole at any time.
//
// A save never touches the copy that counts until the other one is complete: it erases and
// programs the other, reads it back, and only then marks the old one obsolete. Between the last
// two steps both count as active, and the first is taken: old or new, and both are whole.
#include <vxblade/bootenv.h>

#include "bootenv/copies.h"
#include "common/files.h"
#include "common/streams.h"

#include <vxblade/nor.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

namespace vx::bootenv {
namespace {

constexpr const char* lockPath = "/var/lock/fw_printenv.lock"; // of the standard tools
constexpr useconds_t lockPause = 100'000;
constexpr int lockPauses = 50; // until a wait is reported

struct Environment {
    bool isLoaded = false;
    Layout layout;
    Variables variables;
    Variables changes; // since the last load or save; an empty value: removed
};
Environment environment;

[[gnu::format(printf, 1, 2)]] int failed(const char* format, ...) {
    va_list values;
    va_start(values, format);
    Message const message = formatted(format, values);
    va_end(values);
    printError("boot_env: %s\n", message.data());
    ::openlog("boot_env", LOG_PID | LOG_NDELAY, LOG_USER);
    ::syslog(LOG_ERR, "%s", message.data());
    ::closelog();
    return -1;
}

// The lock of the standard tools, held until the end of the scope. A program that keeps it delays a
// reader for some seconds, and a writer until it ends: without the lock the copies may be read (a
// save under way leaves one whole at any time), and nothing may be written or removed: the note
// may be of a save that is about to erase.
class ToolLock {
  public:
    enum class Purpose : uint8_t { reading, writing };
    explicit ToolLock(Purpose purpose)
        : file_(openFile(lockPath, O_WRONLY | O_CREAT | O_NONBLOCK, lockFileMode)) {
        for (int pauses = 0; !tryToLock(); ++pauses) {
            if (errno != EWOULDBLOCK) {
                failed("cannot lock %s", lockPath);
                return;
            }
            if (pauses == lockPauses) {
                failed("another program holds %s", lockPath);
                if (purpose == Purpose::reading) {
                    return;
                }
            }
            ::usleep(lockPause);
        }
    }
    [[nodiscard]] bool isHeld() const { return isHeld_; }

  private:
    bool tryToLock() { return isHeld_ = ::flock(file_.get(), LOCK_EX | LOCK_NB) == 0; }
    Descriptor file_;
    bool isHeld_ = false;
};

// What the copy that counts holds; nothing where none does.
Variables variablesOf(const Copies& copies, int current) {
    return current >= 0 ? copies[static_cast<std::size_t>(current)].variables : Variables();
}

// Erases, programs and reads back. 0 or -1.
int writeCopy(const Place& place, const Buffer& image) {
    Buffer written(image.size());
    if (image.isBad() || written.isBad()) {
        return failed("no memory for the copy at 0x%x", place.offset);
    }
    if (vhnor_erase(place.blocksStart, place.blocksEnd - place.blocksStart) != 0) {
        return failed("cannot erase the block at 0x%x", place.blocksStart);
    }
    if (vhnor_program(place.offset, image.data(), static_cast<uint32_t>(image.size())) !=
        static_cast<int>(image.size())) {
        return failed("cannot program the copy at 0x%x", place.offset);
    }
    if (!readFlash(place.offset, written) || !(written == image)) {
        return failed("the copy at 0x%x is not what was programmed", place.offset);
    }
    return 0;
}

int markObsolete(const Place& place) {
    return vhnor_program(place.offset + flagOffset, &obsoleteFlag, sizeof obsoleteFlag) ==
                   sizeof obsoleteFlag
               ? 0
               : failed("cannot mark the old copy at 0x%x", place.offset);
}

// The copy that a save replaces: the one that does not count; where none does, the one that a cut
// left, so that there is never more than one of these, or else the first.
std::size_t targetOf(const Copies& copies, int current) {
    if (current >= 0) {
        return 1 - static_cast<std::size_t>(current);
    }
    return copies[1].wasCut ? 1 : 0;
}

// Puts the variables into the copy that does not count, which then is the one that counts. The note
// is durable before the erase, and removed when nothing is left to finish.
int replaceCopy(const Layout& layout, const Copies& copies, int current,
                const Variables& variables) {
    std::size_t const target = targetOf(copies, current);
    Place const& place = layout.places[target];
    if (!copies[target].isErasable && !copies[target].wasCut) {
        return failed("the block at 0x%x holds something else and is not erased",
                      place.blocksStart);
    }
    if (writeNote(place) != 0) {
        return failed("cannot write %s", notePath);
    }
    if (writeCopy(place, imageOf(variables, layout.size)) != 0 ||
        (current >= 0 && markObsolete(layout.places[1 - target]) != 0)) {
        return -1;
    }
    (void)removeFile(notePath);
    return 0;
}

int load() {
    if (const char* const wrong = findLayout(environment.layout); wrong != nullptr) {
        return failed("%s", wrong);
    }
    ToolLock const lock(ToolLock::Purpose::reading);
    Copies const copies = readCopies(environment.layout, Extent::copy, lock.isHeld());
    int const current = activeOf(copies);
    auto const holdsNone = [](const Copy& copy) { return copy.isBlank || copy.wasCut; };
    if (current < 0 && !std::ranges::all_of(copies, holdsNone)) {
        return failed("the environment cannot be read, or is damaged");
    }
    environment.variables = variablesOf(copies, current);
    if (environment.variables.bytes().isBad()) {
        return failed("no memory for the environment");
    }
    environment.isLoaded = true;
    return 0;
}

int save() {
    ToolLock const lock(ToolLock::Purpose::writing);
    if (!lock.isHeld()) {
        return -1;
    }
    Layout const& layout = environment.layout;
    Copies const copies = readCopies(layout, Extent::blocks, lock.isHeld());
    // An unreadable copy may be the one that counts, and must not become obsolete.
    if (!copies[0].isReadable || !copies[1].isReadable) {
        return failed("a copy cannot be read");
    }
    int const current = activeOf(copies);
    Variables const saved = variablesOf(copies, current);
    Variables variables = saved;
    variables.apply(environment.changes);
    if (!fits(variables, layout)) {
        return failed("the texts do not fit into %u bytes", layout.size);
    }
    if (!(variables == saved) && replaceCopy(layout, copies, current, variables) != 0) {
        return -1;
    }
    environment.variables = variables;
    environment.changes = {};
    return 0;
}

} // namespace
} // namespace vx::bootenv

using vx::bootenv::environment;
using vx::bootenv::Variables;

int vornhal_init_env(int norStatus) {
    environment = {};
    return norStatus == 0 ? vx::bootenv::load() : -1;
}

int vornhal_getenv(const char* name, char* value, int size) {
    if (size < 1) {
        return 0;
    }
    const char* const found = environment.variables.find(name);
    std::snprintf(value, static_cast<std::size_t>(size), "%s", found != nullptr ? found : "");
    return found != nullptr ? static_cast<int>(std::strlen(found)) : 0;
}

int vornhal_setenv(const char* name, const char* value) {
    if (!environment.isLoaded || *name == '\0' || std::strchr(name, '=') != nullptr) {
        return -1;
    }
    Variables changes = environment.changes;
    changes.set(name, value);
    Variables variables = environment.variables;
    variables.apply(changes);
    if (changes.bytes().isBad() || !vx::bootenv::fits(variables, environment.layout)) {
        return -1;
    }
    environment.variables = variables;
    environment.changes = changes;
    return 0;
}

int vornhal_saveenv(void) {
    return environment.isLoaded ? vx::bootenv::save()
                                : vx::bootenv::failed("no environment is loaded");
}
