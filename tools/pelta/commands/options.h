#ifndef PELTA_TOOL_OPTIONS_H
#define PELTA_TOOL_OPTIONS_H

#include <CLI/CLI.hpp>

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "flow/pipeline.h"
#include "pictures/picturefile.h"
#include "segy/reader.h"

namespace pelta {

/* Options that several subcommands share are declared here once, under one name. */

/* An option that takes a list of whole numbers, "3,5,7" or "3 5 7", into target; of count of them where count is above 0. */
CLI::Option* addWholeNumbers(CLI::App& app, const std::string& name, std::vector<std::int64_t>& target, const std::string& help,
                             std::size_t count = 0);
/* A check that passes all and tells the help of an option which names it takes. */
CLI::Validator named(const std::vector<std::string>& names);
/* The same, and what is none of the names is refused with the nearest. */
CLI::Validator oneOf(std::vector<std::string> names);
/* Refuses what is no number between the two, themselves included, or none above 0. */
CLI::Validator inRange(double from, double to);
CLI::Validator aboveZero();
/* --overwrite */
void addOverwrite(CLI::App& app, bool& overwrite);
/* --threads, as many as the machine has processors unless told. */
void addThreads(CLI::App& app, int& threads);
/* --word-unit: of times in trace headers. */
void addWordUnit(CLI::App& app, std::string& unit);
/* --size of a picture, width and height, which has the default in it; not below least. */
void addPictureSize(CLI::App& app, std::vector<std::int64_t>& size, std::array<std::int64_t, 2> least);

/* A file's name without its folder, for titles. */
std::string bareName(const std::string& fileName);

/* --picture and --size of a command that can also draw what it makes. */
class PictureOptions {
  public:
    PictureOptions(std::int64_t width, std::int64_t height) : _size{width, height} {}
    /* what: "map of the surface" */
    void add(CLI::App& app, const std::string& what, std::array<std::int64_t, 2> leastSize);
    /* Null where no picture is asked for. */
    std::unique_ptr<pictures::PictureFile> open(bool overwrite) const;

  private:
    std::string _name;
    std::vector<std::int64_t> _size;
};

/* --format and --endian, and what they mean. */
CLI::Option* addFormat(CLI::App& app, std::string& format, const std::string& help);
segy::SampleFormat formatFrom(const std::string& text);
CLI::Option* addEndian(CLI::App& app, std::string& order, const std::string& help);
segy::ByteOrder byteOrderFrom(const std::string& text);

/* --map, --samples, --interval, --format, --endian, --tape, --salvage: what the user says against a file. */
class InputOptions {
  public:
    void add(CLI::App& app);
    segy::ReadOptions read() const;

  private:
    std::string _map, _format, _endian;
    std::int64_t _samples = 0;
    double _intervalMs = 0.0;
    bool _fromTape = false, _salvage = false;
};

/* --overwrite, --threads, --quiet, --profile, --history. */
class WorkOptions {
  public:
    void add(CLI::App& app);
    RunOptions read() const { return _options; }

  private:
    RunOptions _options;
};

/* --ledger-area and --ledger-line: whose traces the usage ledger counts. */
class LedgerOptions {
  public:
    void add(CLI::App& app);
    /* Adds traces to the ledger when PELTA_HOME or PROMAX_HOME and LOGNAME are set; warns when the ledger refuses. */
    void record(const std::string& process, std::int64_t traces) const;

  private:
    std::string _area = "-", _line = "-";
};

}

#endif
