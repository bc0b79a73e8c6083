#ifndef PELTA_TOOL_INSPECTION_H
#define PELTA_TOOL_INSPECTION_H

#include "inspection/formatscan.h"
#include "inspection/headerscan.h"
#include "inspection/samplescan.h"
#include "segy/reader.h"

namespace pelta::inspection {

/* What is known of a file after some of its traces or all of them were looked at. */
class Inspection {
  public:
    explicit Inspection(segy::Reader& reader) : _reader(reader), _headers(reader.layout()), _format(reader.layout()) {}

    /* One of these, once. All traces to the end: */
    void readAll();
    /* The first and the last trace and some between; the first ones of a pipe: */
    void readSome(std::int64_t mostTraces);

    const segy::Reader& reader() const { return _reader; }
    std::int64_t tracesSeen() const { return _seen; }
    bool isWhole() const { return !isSample(); }
    /* In the whole file; nothing for a pipe that was not read to its end. */
    std::optional<std::int64_t> traceCount() const;
    const WordRanges& words() const { return _words; }
    const HeaderScan& headers() const { return _headers; }
    const SampleScan& samples() const { return _samples; }
    /* Errors first. */
    std::vector<Finding> findings() const;

  private:
    bool next();
    void addFileFindings(std::vector<Finding>& list) const;
    void addSampleFindings(std::vector<Finding>& list) const;
    bool fitsFile() const;
    bool isSample() const { return traceCount() != _seen; }

    segy::Reader& _reader;
    segy::Trace _trace;
    std::int64_t _seen = 0;
    bool _isWhole = false;
    std::string _failure; /* that ended the reading */
    WordRanges _words;
    HeaderScan _headers;
    FormatScan _format;
    SampleScan _samples;
};

int countErrors(const std::vector<Finding>& findings);

}

#endif
