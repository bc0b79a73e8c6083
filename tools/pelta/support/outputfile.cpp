#include "support/outputfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <system_error>
#include <vector>

#include "support/failure.h"
#include "support/libraryvoice.h"

namespace pelta {
namespace {

/* Names of unfinished files where a signal handler can read them: a name stands still while its slot is in use, and a slot
 * that the handler has claimed is never used again. */
enum SlotState { unused, beingFilled, inUse, claimedByHandler };
struct Slot {
    std::atomic<int> state{unused};
    char temporaryName[PATH_MAX];
    char target[PATH_MAX];
};
constexpr int slotCount = 32;
std::array<Slot, slotCount> slots;
static_assert(std::atomic<int>::is_always_lock_free);

int claimSlot(const std::string& temporaryName, const std::string& target) {
    if (std::max(temporaryName.size(), target.size()) >= PATH_MAX) return -1;
    for (int k = 0; k < slotCount; ++k) {
        int expected = unused;
        if (!slots[k].state.compare_exchange_strong(expected, beingFilled)) continue;
        std::memcpy(slots[k].temporaryName, temporaryName.c_str(), temporaryName.size() + 1);
        std::memcpy(slots[k].target, target.c_str(), target.size() + 1);
        slots[k].state = inUse;
        return k;
    }
    return -1;
}

void releaseSlot(int slot) {
    int expected = inUse;
    slots[slot].state.compare_exchange_strong(expected, unused);
}

bool isUnfinishedOutput(const std::string& target) {
    return std::any_of(slots.begin(), slots.end(),
                       [&](const Slot& slot) { return slot.state == inUse && target == slot.target; });
}

extern "C" void removeUnfinishedAndEnd(int signalNumber) {
    for (Slot& slot : slots) {
        int expected = inUse;
        if (slot.state.compare_exchange_strong(expected, claimedByHandler)) unlink(slot.temporaryName);
    }
    /* Delivered when the handler returns: the process ends as if there had been none. */
    signal(signalNumber, SIG_DFL);
    raise(signalNumber);
}

std::mutex inputsMutex;
std::vector<std::pair<dev_t, ino_t>> inputs;

bool isInput(const struct stat& status) {
    const std::lock_guard lock(inputsMutex);
    return std::find(inputs.begin(), inputs.end(), std::pair(status.st_dev, status.st_ino)) != inputs.end();
}

/* The file behind symbolic links, so that a link stays one and two spellings of a name are known to be the same. */
std::string withoutLinks(const std::string& name) {
    std::error_code problem;
    const std::filesystem::path target = std::filesystem::weakly_canonical(std::filesystem::absolute(name), problem);
    return problem ? name : target.string();
}

/* No signal comes to this thread between a file's making and the note of its name. */
class SignalsHeldBack {
  public:
    SignalsHeldBack() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, &_before);
    }
    ~SignalsHeldBack() { pthread_sigmask(SIG_SETMASK, &_before, nullptr); }
    SignalsHeldBack(const SignalsHeldBack&) = delete;
    SignalsHeldBack& operator=(const SignalsHeldBack&) = delete;

  private:
    sigset_t _before;
};

/* Permission bits of a new file; umask can only be read by setting it. */
mode_t newFileMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}

OutputFile::OutputFile(std::string name, bool overwrite) : _name(std::move(name)), _target(_name), _overwrite(overwrite) {
    if (_name.empty()) failUsage("an output has an empty name");
    if (_name == "-") {
        openStandardOutput();
        return;
    }
    struct stat status;
    const bool isThere = lstat(_name.c_str(), &status) == 0;
    if (isThere && stat(_name.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) fail("{}: is a folder; give the name of a file", _name);
        if (!S_ISREG(status.st_mode)) {
            openDirectly();
            return;
        }
        if (isInput(status)) fail("{}: is the input itself; choose another name for the output", _name);
    }
    _target = withoutLinks(_name);
    if (isUnfinishedOutput(_target)) fail("{}: two outputs have this name; choose another for one of them", _name);
    if (isThere && !_overwrite) fail("{}: exists already; --overwrite replaces it", _name);
    openTemporary();
}

OutputFile::~OutputFile() {
    close();
    if (_slot < 0) return;
    unlink(_temporaryName.c_str());
    releaseSlot(_slot);
}

void OutputFile::openStandardOutput() {
    _file.cFileName = _name.data();
    _file.iFile = std::max(duplicateStandardOutput(), 0);
    if (_file.iFile == 0) fail("standard output: is closed");
    struct stat status;
    if (fstat(_file.iFile, &status) == 0 && S_ISREG(status.st_mode) && isInput(status))
        fail("standard output: is the input itself; send it to another file");
}

/* A device or a named pipe keeps its place and is no file that could be lost. */
void OutputFile::openDirectly() {
    _file.cFileName = _name.data();
    const LibraryVoice silent;
    if (!fileOpen(&_file, 1, 0)) fail("{}: cannot be written: {}", _name, std::strerror(errno));
}

void OutputFile::openTemporary() {
    const std::string folder = std::filesystem::path(_target).parent_path().string();
    std::string name = folder + "/.peltaXXXXXX";
    const SignalsHeldBack quiet;
    const int descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor < 0) fail("{}: cannot make a file in folder {}: {}", _name, folder, std::strerror(errno));
    _temporaryName = name;
    _slot = claimSlot(_temporaryName, _target);
    _file.cFileName = _temporaryName.data();
    _file.iFile = descriptor;
    if (_slot < 0) {
        close();
        unlink(_temporaryName.c_str());
        fail("{}: too many unfinished outputs, or a name of more than {} bytes", _name, PATH_MAX - 1);
    }
    struct stat status;
    const bool replaces = stat(_target.c_str(), &status) == 0;
    fchmod(descriptor, replaces ? status.st_mode & 07777 : newFileMode());
}

void OutputFile::write(const void* bytes, std::size_t count) {
    constexpr std::size_t largestPiece = 1 << 30;
    const char* next = static_cast<const char*>(bytes);
    const LibraryVoice silent;
    while (count > 0) {
        const std::size_t piece = std::min(count, largestPiece);
        errno = 0;
        const int written = fileWrite(&_file, const_cast<char*>(next), static_cast<unsigned long>(piece));
        if (written > 0) _written += static_cast<std::uint64_t>(written);
        if (written < 0 || static_cast<std::size_t>(written) < piece)
            fail("{}: cannot write at byte {}: {}", outputName(_name), _written + 1, std::strerror(errno));
        next += written;
        count -= static_cast<std::size_t>(written);
    }
}

void OutputFile::close() {
    const LibraryVoice silent;
    fileClose(&_file);
}

void OutputFile::commit() {
    /* Network file systems tell of a full disk only when a descriptor is closed, which fileClose keeps to itself. */
    if (_file.iFile != 0) {
        const int copy = fcntl(_file.iFile, F_DUPFD_CLOEXEC, 3);
        if (copy >= 0 && ::close(copy) != 0) fail("{}: cannot be written: {}", _name, std::strerror(errno));
    }
    close();
    if (_slot >= 0) giveFinalName();
}

void OutputFile::giveFinalName() {
    int outcome = -1;
    if (!_overwrite) outcome = renameat2(AT_FDCWD, _temporaryName.c_str(), AT_FDCWD, _target.c_str(), RENAME_NOREPLACE);
    const bool isUnknownHere = outcome != 0 && (errno == EINVAL || errno == ENOSYS);
    if (_overwrite || isUnknownHere) outcome = rename(_temporaryName.c_str(), _target.c_str());
    if (outcome != 0 && errno == EEXIST) fail("{}: was made by somebody else meanwhile; --overwrite replaces it", _name);
    if (outcome != 0) fail("{}: cannot be given its name: {}", _name, std::strerror(errno));
    releaseSlot(_slot);
    _slot = -1;
}

ProtectedInput::ProtectedInput(int descriptor) {
    struct stat status;
    if (fstat(descriptor, &status) == 0) protect(status);
}

ProtectedInput::ProtectedInput(const std::string& name) {
    struct stat status;
    if ((name == "-" ? fstat(STDIN_FILENO, &status) : stat(name.c_str(), &status)) == 0) protect(status);
}

void ProtectedInput::protect(const struct stat& status) {
    _isRegular = S_ISREG(status.st_mode);
    if (!_isRegular) return;
    _file = {status.st_dev, status.st_ino};
    const std::lock_guard lock(inputsMutex);
    inputs.push_back(_file);
}

ProtectedInput::~ProtectedInput() {
    if (!_isRegular) return;
    const std::lock_guard lock(inputsMutex);
    inputs.erase(std::find(inputs.begin(), inputs.end(), _file));
}

void removeUnfinishedFilesOnSignals() {
    struct sigaction action = {};
    action.sa_handler = removeUnfinishedAndEnd;
    for (int signalNumber : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) sigaddset(&action.sa_mask, signalNumber);
    for (int signalNumber : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        struct sigaction before = {};
        sigaction(signalNumber, nullptr, &before);
        if (before.sa_handler != SIG_IGN) sigaction(signalNumber, &action, nullptr);
    }
    signal(SIGXFSZ, SIG_IGN);
}

}
