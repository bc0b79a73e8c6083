#ifndef PELTA_TESTS_FAULTYSYSTEM_H
#define PELTA_TESTS_FAULTYSYSTEM_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

/* System calls that fail when a test wants them to. A test program that links `faultysystem` defines the calls below itself, so
 * that the library's go through it; they pass through to the system unless a FaultySystem lives. */

enum class SystemCall {
    open,       // path, argument: flags
    fopen,      // path; what a stream does later is the C library's own affair
    mkstemp,    // path: the template
    close,      // descriptor
    read,       // descriptor, data, argument: length
    write,      // descriptor, data, argument: length
    lseek,      // descriptor, argument: distance, kind: from where
    fallocate,  // descriptor, argument: length, kind: mode
    ftruncate,  // descriptor, argument: length
    fstat,      // descriptor, data: the record to fill
    fsync,      // descriptor
    flock,      // descriptor, argument: operation
    ioctl,      // descriptor, argument: request, data: what goes with it
    mmap,       // descriptor, argument: length
    unlink,     // path
    system,     // path: the command
    sleep,      // argument: seconds
};

struct CallRecord {
    SystemCall call;
    int descriptor = -1;
    std::string path;
    std::int64_t argument = 0;
    int kind = 0;
    void* data = nullptr;
};

/* Watches the calls of the scope it lives in, those of the test's own code included: make it right around the routine under
 * test. One at a time; for one thread, though a forked child takes it along. */
class FaultySystem {
  public:
    FaultySystem();
    ~FaultySystem();
    FaultySystem(const FaultySystem&) = delete;
    FaultySystem& operator=(const FaultySystem&) = delete;

    /* The nth call of this kind from the start of the scope on (1 is the first) fails once with this errno. A close gives the
     * descriptor back all the same, as Linux does. */
    void fail(SystemCall call, int nth, int error) { faults_.push_back({call, nth, error, {}}); }
    /* The nth call of any kind fails. */
    void fail(int nth, int error) { faults_.push_back({{}, nth, error, {}}); }
    /* The nth read or write moves at most this many bytes. */
    void shorten(SystemCall call, int nth, std::size_t longest) { faults_.push_back({call, nth, 0, longest}); }
    /* Sees each call before it is made, may change its argument, and may answer in the system's place with a result (and errno):
     * for doubles of devices, for killing the process in between, and for leaving out what is slow. */
    void answerBy(std::function<std::optional<std::int64_t>(CallRecord&)> answer) { answer_ = std::move(answer); }

    /* The calls so far, in order, with what they were asked. */
    const std::vector<CallRecord>& calls() const { return calls_; }
    int count(SystemCall call) const;
    /* Whether all that was to fail or to be cut short has been. */
    bool allFaultsMet() const;

    /* For the definitions of the calls: notes the call and says what takes its place. */
    std::optional<std::int64_t> before(CallRecord& call);

  private:
    struct Fault {
        std::optional<SystemCall> call;  // none is any
        int remaining;                   // calls up to the one that is met
        int error;
        std::optional<std::size_t> longest;
    };

    std::vector<Fault> faults_;
    std::vector<CallRecord> calls_;
    std::function<std::optional<std::int64_t>(CallRecord&)> answer_;
};

/* The process's open descriptors: equal before and after where none was left open. */
std::set<int> openDescriptors();

#endif
