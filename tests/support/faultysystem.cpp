#include "support/faultysystem.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace {

FaultySystem* current = nullptr;

/* The next definition of the function: the C library's, or a sanitizer's, which passes on to it. */
template <class Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/* Notes the call where a FaultySystem lives, and makes it (with the argument that is left) unless that has answered it. */
template <class Make>
auto through(CallRecord call, Make make) -> decltype(make(call.argument)) {
    if (current)
        if (const std::optional<std::int64_t> result = current->before(call)) return static_cast<decltype(make(0))>(*result);
    return make(call.argument);
}

CallRecord onPath(SystemCall call, const char* path, std::int64_t argument = 0) {
    return {call, -1, path, argument, 0, nullptr};
}

CallRecord onDescriptor(SystemCall call, int descriptor, std::int64_t argument = 0, int kind = 0, const void* data = nullptr) {
    return {call, descriptor, {}, argument, kind, const_cast<void*>(data)};
}

}

FaultySystem::FaultySystem() { current = this; }
FaultySystem::~FaultySystem() { current = nullptr; }

int FaultySystem::count(SystemCall call) const { return static_cast<int>(std::ranges::count(calls_, call, &CallRecord::call)); }

bool FaultySystem::allFaultsMet() const {
    return std::ranges::all_of(faults_, [](const Fault& fault) { return fault.remaining <= 0; });
}

std::optional<std::int64_t> FaultySystem::before(CallRecord& call) {
    calls_.push_back(call);
    std::optional<std::int64_t> result;
    for (Fault& fault : faults_) {
        if (fault.call && *fault.call != call.call) continue;
        if (--fault.remaining != 0) continue;
        if (fault.longest) {
            call.argument = std::min(call.argument, static_cast<std::int64_t>(*fault.longest));
        } else {
            if (call.call == SystemCall::close) next<int(int)>("close")(call.descriptor);
            errno = fault.error;
            result = -1;
        }
    }
    if (!result && answer_) result = answer_(call);
    return result;
}

std::set<int> openDescriptors() {
    std::set<int> open;
    DIR* const folder = opendir("/proc/self/fd");
    while (const dirent* entry = readdir(folder))
        if (entry->d_name[0] != '.') open.insert(std::atoi(entry->d_name));
    open.erase(dirfd(folder));
    closedir(folder);
    return open;
}

#define INTERPOSED extern "C" __attribute__((visibility("default")))

/* With 64-bit offsets in both word sizes, as everywhere here, the names of the C library's functions end in 64. */
INTERPOSED int open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const int mode = flags & O_CREAT ? va_arg(arguments, int) : 0;
    va_end(arguments);
    return through(onPath(SystemCall::open, path, flags), [=](std::int64_t asked) {
        return next<int(const char*, int, ...)>("open64")(path, static_cast<int>(asked), mode);
    });
}

INTERPOSED std::FILE* fopen(const char* path, const char* mode) {
    if (through(onPath(SystemCall::fopen, path), [](std::int64_t) { return 0; }) != 0) return nullptr;
    return next<std::FILE*(const char*, const char*)>("fopen64")(path, mode);
}

INTERPOSED int mkstemp(char* path) {
    return through(onPath(SystemCall::mkstemp, path), [=](std::int64_t) { return next<int(char*)>("mkstemp64")(path); });
}

INTERPOSED int close(int descriptor) {
    return through(onDescriptor(SystemCall::close, descriptor),
                   [=](std::int64_t) { return next<int(int)>("close")(descriptor); });
}

INTERPOSED ssize_t read(int descriptor, void* data, size_t length) {
    const auto asked = static_cast<std::int64_t>(length);
    return through(onDescriptor(SystemCall::read, descriptor, asked, 0, data), [=](std::int64_t bytes) {
        return next<ssize_t(int, void*, size_t)>("read")(descriptor, data, static_cast<size_t>(bytes));
    });
}

INTERPOSED ssize_t write(int descriptor, const void* data, size_t length) {
    const auto asked = static_cast<std::int64_t>(length);
    return through(onDescriptor(SystemCall::write, descriptor, asked, 0, data), [=](std::int64_t bytes) {
        return next<ssize_t(int, const void*, size_t)>("write")(descriptor, data, static_cast<size_t>(bytes));
    });
}

INTERPOSED off_t lseek(int descriptor, off_t distance, int whence) noexcept {
    return through(onDescriptor(SystemCall::lseek, descriptor, distance, whence),
                   [=](std::int64_t asked) { return next<off_t(int, off_t, int)>("lseek64")(descriptor, asked, whence); });
}

INTERPOSED int fallocate(int descriptor, int mode, off_t start, off_t length) {
    return through(onDescriptor(SystemCall::fallocate, descriptor, length, mode), [=](std::int64_t bytes) {
        return next<int(int, int, off_t, off_t)>("fallocate64")(descriptor, mode, start, bytes);
    });
}

INTERPOSED int ftruncate(int descriptor, off_t length) noexcept {
    return through(onDescriptor(SystemCall::ftruncate, descriptor, length),
                   [=](std::int64_t bytes) { return next<int(int, off_t)>("ftruncate64")(descriptor, bytes); });
}

INTERPOSED int fstat(int descriptor, struct stat* status) noexcept {
    return through(onDescriptor(SystemCall::fstat, descriptor, 0, 0, status),
                   [=](std::int64_t) { return next<int(int, struct stat*)>("fstat64")(descriptor, status); });
}

INTERPOSED int fsync(int descriptor) {
    return through(onDescriptor(SystemCall::fsync, descriptor),
                   [=](std::int64_t) { return next<int(int)>("fsync")(descriptor); });
}

INTERPOSED int flock(int descriptor, int operation) noexcept {
    return through(onDescriptor(SystemCall::flock, descriptor, operation),
                   [=](std::int64_t asked) { return next<int(int, int)>("flock")(descriptor, static_cast<int>(asked)); });
}

INTERPOSED int ioctl(int descriptor, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const data = va_arg(arguments, void*);
    va_end(arguments);
    return through(onDescriptor(SystemCall::ioctl, descriptor, static_cast<std::int64_t>(request), 0, data),
                   [=](std::int64_t) { return next<int(int, unsigned long, ...)>("ioctl")(descriptor, request, data); });
}

INTERPOSED void* mmap(void* address, size_t length, int protection, int flags, int descriptor, off_t start) noexcept {
    // Memory without a file, which a sanitizer asks for before anything else runs, is nobody's concern here.
    const CallRecord call = onDescriptor(SystemCall::mmap, descriptor, static_cast<std::int64_t>(length));
    if (descriptor >= 0 && through(call, [](std::int64_t) { return 0; }) != 0) return MAP_FAILED;
    return next<void*(void*, size_t, int, int, int, off_t)>("mmap64")(address, length, protection, flags, descriptor, start);
}

INTERPOSED int unlink(const char* path) noexcept {
    return through(onPath(SystemCall::unlink, path), [=](std::int64_t) { return next<int(const char*)>("unlink")(path); });
}

INTERPOSED int system(const char* command) {
    return through(onPath(SystemCall::system, command),
                   [=](std::int64_t) { return next<int(const char*)>("system")(command); });
}

INTERPOSED unsigned sleep(unsigned seconds) {
    return through(onDescriptor(SystemCall::sleep, -1, seconds),
                   [](std::int64_t asked) { return next<unsigned(unsigned)>("sleep")(static_cast<unsigned>(asked)); });
}
