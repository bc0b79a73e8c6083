#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <lmdb.h>
#include <pelta/fileio.h>
#include <pelta/peltadisk.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "silence.h"
#include "workfolder.h"

/* The block store, 64 MB in blocks of 6000 and 16000 bytes (traces of 1500 and 4000 samples), in order, as a gather is put away
 * and fetched; mapped memory of that size; and a file of lines. The files lie on the disk of the working folder and in the page cache. */

namespace {

constexpr std::size_t storeSize = std::size_t{64} << 20;

class ScratchFolder : public WorkFolder {
  public:
    ScratchFolder() { setenv("PROMAX_SCRATCH_HOME", path(), 1); }

    int namelessFile() const {
        const std::string name = file("plain");
        const int descriptor = open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, 0666);
        if (descriptor < 0 || unlink(name.c_str()) != 0) std::abort();
        return descriptor;
    }
};

/* What a store holds: every block begins with its number. */
class Blocks {
  public:
    explicit Blocks(std::size_t size) : size_(size), data_(size / sizeof(float)) {}

    std::size_t count() const { return storeSize / size_; }
    std::size_t size() const { return size_; }
    float* data() { return data_.data(); }
    off_t position(std::size_t number) const { return static_cast<off_t>(number * size_); }
    float* numbered(std::size_t number) {
        data_[0] = static_cast<float>(number);
        return data();
    }

    void expectNumber(benchmark::State& state, std::size_t number) const {
        if (data_[0] != static_cast<float>(number)) state.SkipWithError("not the block that was asked for");
    }
    void countBytes(benchmark::State& state) const { state.SetBytesProcessed(state.iterations() * count() * size_); }

  private:
    std::size_t size_;
    std::vector<float> data_;
};

/* Passes over all blocks in order; move(number) returns the bytes it moved. */
template <class Move>
void moveAll(benchmark::State& state, const Blocks& blocks, Move move) {
    for (auto _ : state)
        for (std::size_t k = 0; k < blocks.count(); ++k)
            if (move(k) != static_cast<long>(blocks.size())) state.SkipWithError("a block was not moved");
    blocks.countBytes(state);
}

peltaDisk* openStore(Blocks& blocks, std::vector<char>& buffer) {
    const Silence silence;
    buffer.resize(blocks.size());
    peltaDisk* const disk = peltaDiskOpen(blocks.size(), blocks.count(), buffer.data());
    if (!disk) std::abort();
    for (std::size_t k = 0; k < blocks.count(); ++k) peltaDiskWrite(disk, k, blocks.numbered(k));
    return disk;
}

void readByPelta(benchmark::State& state, std::size_t size) {
    const ScratchFolder folder;
    Blocks blocks(size);
    std::vector<char> buffer;
    peltaDisk* const disk = openStore(blocks, buffer);
    moveAll(state, blocks, [&](std::size_t k) { return peltaDiskRead(disk, k, blocks.data()); });
    blocks.expectNumber(state, blocks.count() - 1);
    peltaDiskClose(disk);
    std::free(disk);
}

void writeByPelta(benchmark::State& state, std::size_t size) {
    const ScratchFolder folder;
    Blocks blocks(size);
    std::vector<char> buffer;
    peltaDisk* const disk = openStore(blocks, buffer);
    moveAll(state, blocks, [&](std::size_t k) { return peltaDiskWrite(disk, k, blocks.numbered(k)); });
    peltaDiskRead(disk, 77, blocks.data());
    blocks.expectNumber(state, 77);
    peltaDiskClose(disk);
    std::free(disk);
}

int filledFile(const ScratchFolder& folder, Blocks& blocks) {
    const int file = folder.namelessFile();
    for (std::size_t k = 0; k < blocks.count(); ++k)
        if (pwrite(file, blocks.numbered(k), blocks.size(), blocks.position(k)) < 0) std::abort();
    return file;
}

void readByPread(benchmark::State& state, std::size_t size) {
    const ScratchFolder folder;
    Blocks blocks(size);
    const int file = filledFile(folder, blocks);
    moveAll(state, blocks, [&](std::size_t k) { return pread(file, blocks.data(), size, blocks.position(k)); });
    blocks.expectNumber(state, blocks.count() - 1);
    close(file);
}

void writeByPwrite(benchmark::State& state, std::size_t size) {
    const ScratchFolder folder;
    Blocks blocks(size);
    const int file = filledFile(folder, blocks);
    moveAll(state, blocks, [&](std::size_t k) { return pwrite(file, blocks.numbered(k), size, blocks.position(k)); });
    close(file);
}

/* Blocks by their numbers in a memory-mapped B-tree; nothing waits for the disk, as nothing does in a scratch file. */
class Database {
  public:
    Database(const ScratchFolder& folder, Blocks& blocks, unsigned mode) : blocks_(blocks) {
        check(mdb_env_create(&environment_));
        check(mdb_env_set_mapsize(environment_, 8 * storeSize));
        check(mdb_env_open(environment_, folder.path(), MDB_NOSYNC | mode, 0666));
        for (int pass = 0; pass < 4; ++pass) writeAll();  // until pages are used again, as a store's are
    }
    ~Database() { mdb_env_close(environment_); }
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void writeAll() {
        const Transaction work(environment_, 0);
        for (std::size_t k = 0; k < blocks_.count(); ++k) {
            MDB_val key = {sizeof k, &k}, value = {blocks_.size(), blocks_.numbered(k)};
            check(mdb_put(work.transaction, work.table, &key, &value, 0));
        }
        check(mdb_txn_commit(work.transaction));
    }

    void readAll() {
        const Transaction work(environment_, MDB_RDONLY);
        for (std::size_t k = 0; k < blocks_.count(); ++k) {
            MDB_val key = {sizeof k, &k}, value;
            check(mdb_get(work.transaction, work.table, &key, &value));
            std::memcpy(blocks_.data(), value.mv_data, value.mv_size);
        }
        mdb_txn_abort(work.transaction);
    }

  private:
    static void check(int result) {
        if (result == MDB_SUCCESS) return;
        std::fprintf(stderr, "%s\n", mdb_strerror(result));
        std::abort();
    }

    struct Transaction {
        Transaction(MDB_env* environment, unsigned flags) {
            check(mdb_txn_begin(environment, nullptr, flags, &transaction));
            check(mdb_dbi_open(transaction, nullptr, MDB_INTEGERKEY, &table));
        }
        MDB_txn* transaction;
        MDB_dbi table;
    };

    MDB_env* environment_ = nullptr;
    Blocks& blocks_;
};

void readByLmdb(benchmark::State& state, std::size_t size) {
    const ScratchFolder folder;
    Blocks blocks(size);
    Database database(folder, blocks, 0);
    for (auto _ : state) database.readAll();
    blocks.expectNumber(state, blocks.count() - 1);
    blocks.countBytes(state);
}

template <unsigned mode>
void writeByLmdb(benchmark::State& state, std::size_t size) {
    const ScratchFolder folder;
    Blocks blocks(size);
    Database database(folder, blocks, mode);
    for (auto _ : state) database.writeAll();
    blocks.countBytes(state);
}

void openByPelta(benchmark::State& state, std::size_t size) {
    const ScratchFolder folder;
    const Blocks blocks(size);
    std::vector<char> buffer(size);
    const Silence silence;
    for (auto _ : state) {
        peltaDisk* const disk = peltaDiskOpen(size, blocks.count(), buffer.data());
        if (!disk || lseek(disk->peltaFile, 0, SEEK_END) != blocks.position(blocks.count())) std::abort();
        peltaDiskClose(disk);
        std::free(disk);
    }
    blocks.countBytes(state);
}

/* makes(file) gives a new file its zeros. */
template <class Make>
void openPlainly(benchmark::State& state, const Blocks& blocks, Make makes) {
    const ScratchFolder folder;
    for (auto _ : state) {
        const int file = folder.namelessFile();
        if (!makes(file)) std::abort();
        close(file);
    }
    blocks.countBytes(state);
}

void openByWriting(benchmark::State& state, std::size_t size) {
    const Blocks blocks(size);
    const std::vector<char> zeros(size);
    openPlainly(state, blocks, [&](int file) {
        for (std::size_t k = 0; k < blocks.count(); ++k)
            if (write(file, zeros.data(), size) != static_cast<ssize_t>(size)) return false;
        return true;
    });
}

void openByAllocating(benchmark::State& state, std::size_t size) {
    const Blocks blocks(size);
    openPlainly(state, blocks, [&](int file) { return posix_fallocate(file, 0, blocks.position(blocks.count())) == 0; });
}

/* A file of lines, as of picks: number and time. */
constexpr int lineCount = 500000;

std::string linesFile(const ScratchFolder& folder) {
    const std::string name = folder.file("lines");
    std::FILE* const file = std::fopen(name.c_str(), "w");
    if (!file) std::abort();
    for (int k = 0; k < lineCount; ++k) std::fprintf(file, "%6d %8.2f\n", k, 812.5 + k % 1000);
    std::fclose(file);
    return name;
}

constexpr std::size_t lineLength = 16;

/* read(line) returns the bytes of the next line, 0 at the end, where the file is opened again. */
template <class Open, class Read>
void readLines(benchmark::State& state, Open opens, Read read) {
    for (auto _ : state) {
        opens();
        char line[80];
        int count = 0;
        while (read(line, sizeof line)) ++count;
        if (count != lineCount) state.SkipWithError("not all lines were read");
    }
    state.SetBytesProcessed(state.iterations() * lineCount * lineLength);
}

void readLinesByPelta(benchmark::State& state) {
    const ScratchFolder folder;
    std::string name = linesFile(folder);
    fileIOStruct file = {nullptr, 0, name.data()};
    const auto opens = [&] {
        fileClose(&file);
        if (!fileOpen(&file, 0, 1)) std::abort();
    };
    readLines(state, opens, [&](char* line, std::size_t size) { return fileRead(&file, line, size) > 0; });
    fileClose(&file);
}

void readLinesByStdio(benchmark::State& state) {
    const ScratchFolder folder;
    const std::string name = linesFile(folder);
    std::FILE* file = nullptr;
    const auto opens = [&] {
        if (file) std::fclose(file);
        file = std::fopen(name.c_str(), "r");
        if (!file) std::abort();
    };
    readLines(state, opens, [&](char* line, int size) { return std::fgets(line, size, file) && std::strlen(line) > 0; });
    std::fclose(file);
}

void writeLinesByPelta(benchmark::State& state) {
    const ScratchFolder folder;
    std::string name = linesFile(folder), line = "   150   812.50\n";
    fileIOStruct file = {nullptr, 0, name.data()};
    for (auto _ : state) {
        if (!fileOpen(&file, 1, 1)) std::abort();
        for (int k = 0; k < lineCount; ++k)
            if (fileWrite(&file, line.data(), line.size()) != static_cast<int>(lineLength)) std::abort();
        fileClose(&file);
    }
    state.SetBytesProcessed(state.iterations() * lineCount * lineLength);
}

void writeLinesByStdio(benchmark::State& state) {
    const ScratchFolder folder;
    const std::string name = linesFile(folder), line = "   150   812.50\n";
    for (auto _ : state) {
        std::FILE* const file = std::fopen(name.c_str(), "w");
        if (!file) std::abort();
        for (int k = 0; k < lineCount; ++k) std::fputs(line.c_str(), file);
        std::fclose(file);
    }
    state.SetBytesProcessed(state.iterations() * lineCount * lineLength);
}

/* Memory behind a first touch. */
struct Touched {
    explicit Touched(void* memory) : words(static_cast<std::uint64_t*>(memory)) {
        if (!memory || memory == MAP_FAILED) std::abort();
        std::memset(words, 1, storeSize);
    }
    ~Touched() { munmap(words, storeSize); }
    Touched(const Touched&) = delete;
    Touched& operator=(const Touched&) = delete;
    std::uint64_t* words;
};

void* privateMemory() { return mmap(nullptr, storeSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0); }
void* scratchMemory() { return mapMemory(storeSize); }

void writeMemory(benchmark::State& state, void* (*allocate)()) {
    const ScratchFolder folder;
    const Touched memory(allocate());
    for (auto _ : state) {
        std::memset(memory.words, 2, storeSize);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * storeSize);
}

void readMemory(benchmark::State& state, void* (*allocate)()) {
    constexpr std::uint64_t wordCount = storeSize / sizeof(std::uint64_t);
    const ScratchFolder folder;
    const Touched memory(allocate());
    for (auto _ : state) {
        std::uint64_t sum = 0;
        for (std::size_t k = 0; k < wordCount; ++k) sum += memory.words[k];
        benchmark::DoNotOptimize(sum);
        if (sum != wordCount * 0x0101010101010101u) state.SkipWithError("not what was written");
    }
    state.SetBytesProcessed(state.iterations() * storeSize);
}

}

int main(int argc, char** argv) {
    for (const std::size_t size : {6000, 16000}) {
        const auto measure = [&](const char* who, void (*work)(benchmark::State&, std::size_t)) {
            const std::string name = std::string(who) + "|64 MB, " + std::to_string(size) + " B blocks";
            return benchmark::RegisterBenchmark(name.c_str(), work, size);
        };
        measure("peltaDiskRead|pelta", readByPelta);
        measure("peltaDiskRead|pread", readByPread);
        measure("peltaDiskRead|LMDB", readByLmdb);
        measure("peltaDiskWrite|pelta", writeByPelta);
        measure("peltaDiskWrite|pwrite", writeByPwrite);
        measure("peltaDiskWrite|LMDB", writeByLmdb<0>);
        measure("peltaDiskWrite|LMDB, writable map", writeByLmdb<MDB_WRITEMAP>);
        measure("peltaDiskOpen|pelta", openByPelta)->UseRealTime();
        measure("peltaDiskOpen|writing zeros", openByWriting)->UseRealTime();
        measure("peltaDiskOpen|limit: posix_fallocate", openByAllocating)->UseRealTime();
    }
    benchmark::RegisterBenchmark("fileRead|pelta|500000 lines", readLinesByPelta);
    benchmark::RegisterBenchmark("fileRead|fgets|500000 lines", readLinesByStdio);
    benchmark::RegisterBenchmark("fileWrite|pelta|500000 lines", writeLinesByPelta);
    benchmark::RegisterBenchmark("fileWrite|fputs|500000 lines", writeLinesByStdio);
    benchmark::RegisterBenchmark("mapMemory|pelta|64 MB, writing", writeMemory, scratchMemory);
    benchmark::RegisterBenchmark("mapMemory|limit: private memory|64 MB, writing", writeMemory, privateMemory);
    benchmark::RegisterBenchmark("mapMemory|pelta|64 MB, reading", readMemory, scratchMemory);
    benchmark::RegisterBenchmark("mapMemory|limit: private memory|64 MB, reading", readMemory, privateMemory);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
}
