#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <numeric>

#include "segy/reader.h"
#include "segy/writer.h"
#include "support/bits.h"
#include "support/failure.h"
#include "support/files.h"
#include "support/segyfiles.h"

/* Field recordings, in the folder named by PELTA_FIELD_DATA, and segyio as an independent reader, called through a Python that
 * has it. Tests that lack one of them are skipped. */

using namespace pelta;
using namespace pelta::segy;

namespace {

struct FieldFile {
    const char* name;
    std::int64_t traces, samples;
    double intervalMs;
    SampleFormat format;
    TextEncoding text;
    double delayMs;
    std::size_t warnings;
    ByteOrder order = ByteOrder::big;
};

constexpr TextEncoding ebcdic = TextEncoding::ebcdic, ascii = TextEncoding::ascii;
constexpr FieldFile fieldFiles[] = {
    {"refraction_roll.sgy", 216, 2000, 0.25, SampleFormat::ibm, ebcdic, 0, 0},
    {"refraction_met19_3b.sgy", 600, 1000, 0.25, SampleFormat::ieee, ebcdic, -10, 0},
    {"shot_96ch.sgy", 96, 1000, 0.25, SampleFormat::ieee, ebcdic, 0, 0},
    {"marine_shots_viking.sgy", 480, 600, 4, SampleFormat::ibm, ebcdic, 0, 1},
    {"stack_npra_31_81.sgy", 534, 1501, 4, SampleFormat::ibm, ebcdic, 0, 0},
    {"stack_riv6.sgy", 514, 1151, 4, SampleFormat::ieee, ebcdic, 0, 0},
    {"cube_f3_int16.sgy", 414, 75, 4, SampleFormat::int16, ebcdic, 4, 1},
    {"cube_f3_ibm.sgy", 121, 463, 4, SampleFormat::ibm, ascii, 0, 0},
    {"subbottom_metzabok_l4.sgy", 1595, 400, 0.066, SampleFormat::int16, ebcdic, 0, 0},
    {"trace_int32.sgy", 1, 8000, 0.25, SampleFormat::int32, ascii, -100, 0},
    {"trace_int16.sgy", 1, 500, 2, SampleFormat::int16, ebcdic, 0, 0},
    {"trace_ibm_lithoprobe.sgy", 1, 2050, 2, SampleFormat::ibm, ebcdic, 0, 1},
    {"trace_ibm_little_endian.sgy", 1, 2001, 2, SampleFormat::ibm, ascii, 0, 0, ByteOrder::little},
};

void PrintTo(const FieldFile& file, std::ostream* out) { *out << file.name; }

/* The first Python that has segyio, or nothing. */
std::string pythonWithSegyio() {
    for (const char* python : {"/usr/bin/python3", "python3"})
        if (std::system((std::string(python) + " -c 'import segyio, numpy' >/dev/null 2>&1").c_str()) == 0) return python;
    return "";
}

struct Judgement {
    std::int32_t traces, samples, intervalUs, format;
    std::vector<std::int32_t> places; /* of the header words */
    const std::int32_t* trace(std::int64_t number) const {
        return _bits.data() + 5 + places.size() + static_cast<std::size_t>(number) * (places.size() + samples);
    }
    std::vector<std::int32_t> _bits;
};

/* Empty (no traces) when segyio could not read the file. */
Judgement judge(const std::string& python, const std::string& name, ByteOrder order) {
    const ScratchFolder folder;
    const std::string out = folder.file("judgement");
    const std::string command =
        python + " '" PELTA_JUDGE "' '" + name + (order == ByteOrder::little ? "' little '" : "' big '") + out + "'";
    if (std::system(command.c_str()) != 0) return {};
    const std::string bytes = contentsOf(out);
    Judgement judgement = {};
    judgement._bits.resize(bytes.size() / 4);
    std::memcpy(judgement._bits.data(), bytes.data(), judgement._bits.size() * 4);
    const auto& bits = judgement._bits;
    judgement.traces = bits[0];
    judgement.samples = bits[1];
    judgement.intervalUs = bits[2];
    judgement.format = bits[3];
    judgement.places.assign(bits.begin() + 5, bits.begin() + 5 + bits[4]);
    return judgement;
}

/* The words that segyio gives four bytes. */
int sizeOfWord(int place) {
    static const std::vector<int> fourBytes = {1,  5,  9,  13, 17,  21,  25,  37,  41,  45,  49,  53,  57,  61, 65,
                                               73, 77, 81, 85, 181, 185, 189, 193, 197, 205, 219, 225, 233, 237};
    return std::find(fourBytes.begin(), fourBytes.end(), place) != fourBytes.end() ? 4 : 2;
}

/* segyio 1.8 goes wrong on IBM floats whose first hexadecimal digit is 0: there the definition judges. */
void judgeByDefinition(std::vector<float>& samples, const Trace& trace, ByteOrder order) {
    for (std::size_t k = 0; k < samples.size(); ++k) {
        const auto word = readUnsignedWord(trace.encoded.data(), {static_cast<int>(4 * k + 1), 4}, order);
        const std::int64_t fraction = word & 0xFFFFFF;
        if (fraction == 0 || fraction >= 0x100000) continue;
        const double value = std::ldexp(static_cast<double>(fraction), 4 * static_cast<int>((word >> 24 & 0x7F) - 64) - 24);
        samples[k] = static_cast<float>(word >> 31 ? -value : value);
    }
}

void expectSameTrace(const Trace& trace, const Judgement& judgement, const Layout& layout) {
    const std::int32_t* expected = judgement.trace(trace.number);
    for (std::size_t k = 0; k < judgement.places.size(); ++k) {
        const int place = judgement.places[k];
        ASSERT_EQ(readWord(trace.header.data(), {place, sizeOfWord(place)}, layout.byteOrder), expected[k]) << "byte " << place;
    }
    std::vector<float> samples(static_cast<std::size_t>(judgement.samples));
    std::memcpy(samples.data(), expected + judgement.places.size(), samples.size() * sizeof(float));
    if (layout.format == SampleFormat::ibm) judgeByDefinition(samples, trace, layout.byteOrder);
    ASSERT_TRUE(sameSamples(trace.samples, samples)) << "trace " << trace.number;
}

void expectSameFile(const std::string& name, const Judgement& judgement) {
    Reader reader(name, {});
    ASSERT_GT(judgement.traces, 0) << "segyio could not read " << name;
    EXPECT_EQ(judgement.traces, reader.traceCount());
    EXPECT_EQ(judgement.samples, reader.layout().sampleCount);
    EXPECT_EQ(judgement.intervalUs, std::lround(1000.0 * reader.layout().intervalMs));
    EXPECT_EQ(judgement.format, static_cast<int>(reader.layout().format));
    Trace trace;
    while (reader.next(trace)) {
        decode(trace, reader.layout());
        expectSameTrace(trace, judgement, reader.layout());
        if (testing::Test::HasFatalFailure()) return;
    }
}

class FieldData : public testing::TestWithParam<FieldFile> {
  protected:
    void SetUp() override {
        const char* folder = std::getenv("PELTA_FIELD_DATA");
        if (!folder) GTEST_SKIP() << "PELTA_FIELD_DATA does not name the folder of field recordings";
        _path = std::filesystem::path(folder) / GetParam().name;
        if (!std::filesystem::exists(_path)) GTEST_SKIP() << _path << " is not there";
    }
    std::string path() const { return _path.string(); }

  private:
    std::filesystem::path _path;
};

}

TEST_P(FieldData, IsReadRightWithoutOptions) {
    Reader reader(path(), {});
    EXPECT_EQ(reader.traceCount(), GetParam().traces);
    EXPECT_EQ(reader.layout().sampleCount, GetParam().samples);
    EXPECT_EQ(reader.layout().intervalMs, GetParam().intervalMs);
    EXPECT_EQ(reader.layout().format, GetParam().format);
    EXPECT_EQ(reader.layout().byteOrder, GetParam().order);
    EXPECT_EQ(reader.layout().textEncoding, GetParam().text);
    EXPECT_EQ(reader.layout().firstTraceByte, 3600);
    EXPECT_FALSE(reader.layout().isFeet);
    EXPECT_EQ(reader.warnings().size(), GetParam().warnings);
    Trace trace;
    ASSERT_TRUE(reader.next(trace));
    EXPECT_EQ(readFacts(trace, reader.layout()).delayMs, GetParam().delayMs);
}

TEST_P(FieldData, PassesByteForByte) {
    const ScratchFolder folder;
    Reader reader(path(), {});
    Writer writer(folder.file("out.sgy"), false, reader.preamble());
    Trace trace;
    while (reader.next(trace)) {
        decode(trace, reader.layout());
        encode(trace, reader.layout());
        writer.write(trace);
    }
    writer.writeTrailer(reader.trailer());
    writer.commit();
    EXPECT_TRUE(contentsOf(folder.file("out.sgy")) == contentsOf(path()));
}

TEST_P(FieldData, IsReadTheSameBySegyio) {
    const std::string python = pythonWithSegyio();
    if (python.empty()) GTEST_SKIP() << "no Python with segyio (package python3-segyio)";
    expectSameFile(path(), judge(python, path(), GetParam().order));
}

INSTANTIATE_TEST_SUITE_P(Recordings, FieldData, testing::ValuesIn(fieldFiles),
                         [](const auto& recording) { return std::filesystem::path(recording.param.name).stem().string(); });

TEST(Segyio, ReadsWhatTheModuleWrites) {
    const std::string python = pythonWithSegyio();
    if (python.empty()) GTEST_SKIP() << "no Python with segyio (package python3-segyio)";
    const ScratchFolder folder;
    for (const SampleFormat format :
         {SampleFormat::ibm, SampleFormat::int32, SampleFormat::int16, SampleFormat::ieee, SampleFormat::int8})
        for (const ByteOrder order : {ByteOrder::big, ByteOrder::little}) {
            Layout layout;
            layout.byteOrder = order;
            layout.format = format;
            layout.sampleCount = 47;
            layout.intervalMs = 2.0;
            layout.revisionMajor = 1;
            const std::string name = folder.file("made.sgy");
            Writer writer(name, true, makePreamble(layout, {}));
            for (int t = 0; t < 5; ++t) {
                Trace trace;
                trace.header.resize(traceHeaderBytes);
                for (int place = 1; place < 230; place += sizeOfWord(place))
                    writeWord(trace.header.data(), {place, sizeOfWord(place)}, order, 100 * t + place);
                writeUnsignedWord(trace.header.data(), layout.words[Word::samples], order, layout.sampleCount);
                for (int k = 0; k < layout.sampleCount; ++k) trace.samples.push_back(static_cast<float>(madeSample(t, k)));
                trace.samplesChanged = true;
                EXPECT_EQ(encode(trace, layout), 0);
                writer.write(trace);
            }
            writer.commit();
            expectSameFile(name, judge(python, name, order));
            if (HasFatalFailure()) return;
        }
}
