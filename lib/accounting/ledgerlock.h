#ifndef PELTA_LIB_ACCOUNTING_LEDGERLOCK_H
#define PELTA_LIB_ACCOUNTING_LEDGERLOCK_H

#include <sys/file.h>

#include <cerrno>
#include <chrono>
#include <thread>

/* Keeps another process's update from falling between this one's reading and writing, as long as it lives. After two seconds,
 * or on a file system without locks, work goes on without: a stopped process must not keep every tool from recording. */
class LedgerLock {
  public:
    explicit LedgerLock(int ledger) : ledger_(ledger) {
        using Clock = std::chrono::steady_clock;
        const Clock::time_point deadline = Clock::now() + std::chrono::seconds(2);
        while (!(held_ = ::flock(ledger, LOCK_EX | LOCK_NB) == 0)) {
            if ((errno != EWOULDBLOCK && errno != EINTR) || Clock::now() >= deadline) return;
            contended_ = true;
            std::this_thread::sleep_for(std::chrono::microseconds(20));
        }
    }
    /* Unlocks, since closing would not: a child process that was forked meanwhile holds the file open. A writer that comes
     * back at once would find the lock free before any that sleeps; who had to wait lets the others go first in turn. */
    ~LedgerLock() {
        ::flock(ledger_, LOCK_UN);
        if (contended_) std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    LedgerLock(const LedgerLock&) = delete;
    LedgerLock& operator=(const LedgerLock&) = delete;

    bool held() const { return held_; }

  private:
    int ledger_;
    bool held_ = false;
    bool contended_ = false;
};

#endif
