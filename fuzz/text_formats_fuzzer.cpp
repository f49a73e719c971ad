// Text signal files (.sgl, .sfs, .asc): the line parsers over a string list, then a reader on
// the same text as a file, every record pulled whole and compared with the parsers' values,
// and the records written back in the same format and read again.
//
// Input: one option byte, then the text. Bits 0-1 pick the format (sgl, sfs, asc, sgl), bits
// 2-4 the frame (1 << n values).
#include <algorithm>

#include "fuzz/fuzz_common.h"
#include "ondrix/FileSignal/TextFormats.h"
#include "ondrix/framework/TStringList.h"

using namespace ondrix;
using namespace ondrix::fuzz;

namespace {

constexpr TFileFormat kFormats[4] = {ffSgl, ffSfs, ffAsc, ffSgl};

std::vector<double> Reals(const TVec& v) { return {v.PValues(), v.PValues() + v.RealLength()}; }

void CheckValues(const std::vector<double>& want, const std::vector<double>& got, const std::string& what) {
  FUZZ_CHECK(want.size() == got.size(), what + ": " + std::to_string(got.size()) + " values read, the parser gives " +
                                            std::to_string(want.size()));
  for (std::size_t i = 0; i < want.size(); ++i)
    FUZZ_CHECK(SameValue(want[i], got[i]), what + ": value " + std::to_string(i));
}

void Run(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return;
  const TFileFormat format = kFormats[data[0] & 3];
  const int frame = 1 << ((data[0] >> 2) & 7);
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);

  // Every parser sees every input, whatever the format byte says.
  TStringList lines;
  lines.SetText(text);
  TVec parsed;
  double number = 0;
  std::vector<std::vector<double>> sgl;
  for (int r = 0; r < SglRecordCount(lines); ++r) {
    if (!Clean([&] { ParseSglRecord(lines, r, parsed, number); })) break;
    sgl.push_back(Reals(parsed));
  }
  std::vector<double> sfs, asc;
  if (Clean([&] { ParseSfs(lines, parsed, number); })) sfs = Reals(parsed);
  if (Clean([&] { ParseAsc(lines, parsed, number); })) asc = Reals(parsed);
  if (lines.Count() > 0)
    for (char separator : {';', ' ', '\t'}) Clean([&] { ParseValueRow(lines.Strings(0), separator, parsed); });

  const std::string file = WriteScratch(std::string("in") + FileFormatExtension(format), data + 1, size - 1);
  TSignalRead reader(nullptr);
  reader.SetFileName(file);
  if (!Clean([&] { reader.OpenFile(); })) return;

  std::vector<TRecordRead> records;
  const bool readClean = Clean([&] {
    for (int k = 0; k < reader.NumberOfRecords(); ++k) {
      reader.SetRecordNumber(k);
      records.push_back(ReadRecord(reader, frame));
    }
  });
  if (!readClean) return;
  if (format == ffSgl) {
    // A record that does not parse fails the read, so every record read has parsed.
    FUZZ_CHECK(records.size() <= sgl.size(), "more .sgl records read than parsed");
    for (std::size_t k = 0; k < records.size(); ++k) CheckValues(sgl[k], records[k].Values, "sgl record");
  } else {
    CheckValues(format == ffSfs ? sfs : asc, records.at(0).Values, FileFormatExtension(format));
  }

  // What was read, written again in the same format, reads back the same. The writer ends a
  // .sgl record with an empty line that the reader does not skip, so each record goes to a
  // file of its own.
  const std::string copy = (ScratchDir() / (std::string("copy") + FileFormatExtension(format))).string();
  for (const TRecordRead& rec : records) {
    FUZZ_CHECK(Clean([&] { WriteRecords(copy, {rec}); }), "the record read cannot be written back");
    TRecordRead again;
    FUZZ_CHECK(Clean([&] {
                 TSignalRead r2(nullptr);
                 r2.SetFileName(copy);
                 r2.OpenFile();
                 again = ReadRecord(r2, frame);
               }),
               "the file written back cannot be read");
    CheckSameRecords({rec}, {again});
  }
}

// Seeds: files that the writer makes (a real and a complex .sgl record, .sfs, .asc), and by
// hand a .sgl of two records in three lines each and an .asc delimited by blanks.
void WriteSeeds(const std::filesystem::path& dir) {
  auto record = [](std::vector<double> values, bool complex = false, double fs = 1000) {
    TRecordRead r;
    r.Values = std::move(values);
    r.Complex = complex;
    r.SamplingFrequency = fs;
    return r;
  };
  const std::vector<double> a = {0.5, -1.25, 3.75, 1e-5, -2.5e10, 0, 42};
  const std::vector<double> b = {1, -2, 0.125, 3e300, -4, 5.5};
  const struct {
    const char* name;
    int format;
    TRecordRead record;
  } seeds[] = {
      {"sgl-real", 0, record(a)},
      {"sgl-complex", 0, record(b, true, 8000)},
      {"sfs", 1, record(a, false, 250)},
      {"asc", 2, record(b, false, 48000)},
  };
  int variant = 0;
  for (const auto& s : seeds) {
    const std::string file = (ScratchDir() / (std::string("seed") + FileFormatExtension(kFormats[s.format]))).string();
    WriteRecords(file, {s.record});
    std::vector<std::uint8_t> bytes = ReadBytes(file);
    bytes.insert(bytes.begin(), static_cast<std::uint8_t>(s.format | (1 + variant++ % 3) << 2));
    WriteSeed(dir, s.name, bytes);
  }
  auto text = [&](const char* name, int format, const std::string& t) {
    std::vector<std::uint8_t> bytes{static_cast<std::uint8_t>(format | 1 << 2)};
    bytes.insert(bytes.end(), t.begin(), t.end());
    WriteSeed(dir, name, bytes);
  };
  text("sgl-two-records", 0, "3\r\n0.003\r\n1;-2.5;3\r\n2\r\n0.5\r\n1+2i;3.5-4e-3i\r\n");
  text("asc-blanks", 2, "0 1.5\r\n0.001 -2\r\n0.002 3e-3\r\n\r\n");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  MakeCorpusIfAsked(argc, argv, WriteSeeds);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Run(data, size);
  return 0;
}
