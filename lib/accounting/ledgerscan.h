#ifndef PELTA_LIB_ACCOUNTING_LEDGERSCAN_H
#define PELTA_LIB_ACCOUNTING_LEDGERSCAN_H

#include <sys/types.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "transfer.h"

inline constexpr std::size_t recordLength = 118;

/* The ledger's records from its start on, read many at a time. */
class LedgerScan {
  public:
    explicit LedgerScan(int ledger) : ledger_(ledger) {}

    /* The next record; a short one at the end counts. Empty where the scan stops: at the end of the file, or behind a record
     * that begins with a zero byte. */
    std::string_view next() {
        if (end_ - begin_ < recordLength) refill();
        const std::string_view record(buffer_ + begin_, std::min(recordLength, end_ - begin_));
        begin_ += record.size();
        position_ += static_cast<off_t>(record.size());
        return record.empty() || record.front() == '\0' ? std::string_view() : record;
    }

    /* Where the last record ends in the file. */
    off_t position() const { return position_; }
    /* Where the descriptor stands: behind what was read ahead. */
    off_t readUpTo() const { return position_ + static_cast<off_t>(end_ - begin_); }
    /* Whether the scan stopped at bytes that could not be read; there may be records behind them. */
    bool failed() const { return failed_; }

  private:
    /* Returns as soon as there is a whole record, since what is not a plain file may have no more to give for now. */
    void refill() {
        std::memmove(buffer_, buffer_ + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
        while (end_ < recordLength) {
            const ssize_t count = readOnce(ledger_, buffer_ + end_, sizeof buffer_ - end_);
            failed_ = count < 0;
            if (failed_) end_ = 0;  // half a record might pass for a whole one
            if (count <= 0) return;
            end_ += static_cast<std::size_t>(count);
        }
    }

    int ledger_;
    bool failed_ = false;
    off_t position_ = 0;
    std::size_t begin_ = 0, end_ = 0;
    char buffer_[256 * recordLength];
};

#endif
