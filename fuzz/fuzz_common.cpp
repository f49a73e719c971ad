#include "fuzz/fuzz_common.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <iterator>

namespace ondrix::fuzz {

namespace {

// Removes the folder when the process ends normally; a crash leaves it for inspection.
struct TScratch {
  std::filesystem::path Dir;
  TScratch() {
    const std::filesystem::path shm = "/dev/shm";
    std::error_code ec;
    const auto base = std::filesystem::is_directory(shm, ec) ? shm : std::filesystem::temp_directory_path();
    Dir = base / ("ondrix-fuzz-" + std::to_string(::getpid()));
    std::filesystem::create_directories(Dir);
  }
  ~TScratch() {
    std::error_code ec;
    std::filesystem::remove_all(Dir, ec);
  }
};

}  // namespace

void Fail(const char* File, int Line, const char* Cond, const std::string& What) {
  std::fprintf(stderr, "\n%s:%d: check failed: %s\n  %s\n", File, Line, Cond, What.c_str());
  std::abort();
}

const std::filesystem::path& ScratchDir() {
  static const TScratch scratch;
  return scratch.Dir;
}

std::string WriteScratch(const std::string& Name, const std::uint8_t* Data, std::size_t Size) {
  const std::string path = (ScratchDir() / Name).string();
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  f.write(reinterpret_cast<const char*>(Data), static_cast<std::streamsize>(Size));
  f.close();
  FUZZ_CHECK(f.good(), "cannot write " + path);
  return path;
}

std::vector<std::uint8_t> ReadBytes(const std::string& FileName) {
  std::ifstream f(FileName, std::ios::binary);
  return {std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
}

bool SameValue(double A, double B) { return A == B || (std::isnan(A) && std::isnan(B)); }

std::int64_t FramesLeft(const TSignalRead& Reader, int Length) {
  const int frame = Length / std::max(Reader.ChannelCount(), 1);
  const std::int64_t left = std::max(Reader.SamplesLeft(), 0);
  return frame > 0 ? left / frame + 2 : 2;
}

void PullToEnd(TSignalRead& Reader, int Length, std::int64_t MaxPulls, TRecordRead* Keep) {
  Reader.SetLastFrameCheck(lfcAdjustLength);
  Reader.SetLength(Length);
  if (MaxPulls < 0) MaxPulls = FramesLeft(Reader, Length);
  std::int64_t pulls = 0;
  while (Reader.Pull() == pipeOK) {
    FUZZ_CHECK(++pulls <= MaxPulls, "the reader does not advance: more than " + std::to_string(MaxPulls) +
                                        " pulls of " + std::to_string(Length) + " values over " +
                                        std::to_string(Reader.ChannelCount()) + " channels");
    if (Keep) {
      const TVec& d = Reader.Data();
      Keep->Values.insert(Keep->Values.end(), d.PValues(), d.PValues() + d.RealLength());
      Keep->Complex = d.Complex();
    }
  }
}

TRecordRead ReadRecord(TSignalRead& Reader, int Length, std::int64_t MaxPulls) {
  TRecordRead rec;
  Reader.SetLength(Length);
  Reader.SetRecordPosition(0);
  rec.ChannelCount = Reader.ChannelCount();
  rec.RecordLength = Reader.RecordLength();
  rec.SamplingFrequency = Reader.SamplingFrequency();
  rec.Precision = Reader.Precision();
  rec.Complex = Reader.Complex();
  PullToEnd(Reader, Length, MaxPulls, &rec);
  return rec;
}

void WriteRecords(const std::string& FileName, const std::vector<TRecordRead>& Records) {
  TBlockSignal src;
  TSignalWrite w(nullptr);
  w.SetFileName(FileName);
  w.SetInput(&src);
  for (const TRecordRead& rec : Records) {
    TVec v;
    v.Size(static_cast<int>(rec.Complex ? rec.Values.size() / 2 : rec.Values.size()), rec.Complex);
    if (!rec.Values.empty()) std::memcpy(v.PValues(), rec.Values.data(), rec.Values.size() * sizeof(double));
    src.SetChannelCount(rec.ChannelCount);
    src.SetSamplingFrequency(rec.SamplingFrequency);
    src.SetData(v);
    w.SetPrecision(rec.Precision);
    w.SaveRecord();
  }
  w.CloseFile();
}

void CheckSameRecords(const std::vector<TRecordRead>& Want, const std::vector<TRecordRead>& Got) {
  FUZZ_CHECK(Want.size() == Got.size(), "records written " + std::to_string(Want.size()) + ", read back " +
                                            std::to_string(Got.size()));
  for (std::size_t k = 0; k < Want.size(); ++k) {
    const TRecordRead &a = Want[k], &b = Got[k];
    const std::string where = "record " + std::to_string(k) + ": ";
    FUZZ_CHECK(a.ChannelCount == b.ChannelCount, where + "channel count");
    FUZZ_CHECK(a.Precision == b.Precision, where + "precision");
    FUZZ_CHECK(a.Values.size() == b.Values.size(), where + std::to_string(a.Values.size()) + " values written, " +
                                                       std::to_string(b.Values.size()) + " read back");
    if (!a.Values.empty()) FUZZ_CHECK(a.Complex == b.Complex, where + "complex flag");
    for (std::size_t i = 0; i < a.Values.size(); ++i)
      FUZZ_CHECK(SameValue(a.Values[i], b.Values[i]), where + "value " + std::to_string(i) + " written " +
                                                          std::to_string(a.Values[i]) + ", read back " +
                                                          std::to_string(b.Values[i]));
  }
}

void Fill(TMemoryStream& M, const std::uint8_t* Data, std::size_t Size) {
  M.Clear();
  if (Size > 0) M.WriteBuffer(Data, static_cast<std::int64_t>(Size));
  M.SetPosition(0);
}

namespace {

// The first difference of two writings, with what each holds around it (Show renders a span).
template <class T, class Show>
void CheckSameSpans(const T& First, const T& Second, const std::string& What, Show show) {
  if (First == Second) return;
  const std::size_t at =
      static_cast<std::size_t>(std::mismatch(First.begin(), First.end(), Second.begin(), Second.end()).first -
                               First.begin());
  auto around = [&](const T& s) {
    const std::size_t from = at < 24 ? 0 : at - 24;
    return show(T(s.begin() + static_cast<std::ptrdiff_t>(std::min(from, s.size())),
                  s.begin() + static_cast<std::ptrdiff_t>(std::min(from + 48, s.size()))));
  };
  Fail(__FILE__, __LINE__, "First == Second",
       What + ": " + std::to_string(First.size()) + " and " + std::to_string(Second.size()) +
           " bytes, first difference at " + std::to_string(at) + "\n  first:  " + around(First) +
           "\n  second: " + around(Second));
}

}  // namespace

void CheckSame(const std::string& First, const std::string& Second, const std::string& What) {
  CheckSameSpans(First, Second, What, [](const std::string& s) { return s; });
}

void CheckSame(const std::vector<std::uint8_t>& First, const std::vector<std::uint8_t>& Second,
               const std::string& What) {
  CheckSameSpans(First, Second, What, [](const std::vector<std::uint8_t>& s) {
    std::string hex;
    char b[4];
    for (std::uint8_t c : s) std::snprintf(b, sizeof b, "%02x ", c), hex += b;
    return hex;
  });
}

void MakeCorpusIfAsked(int* argc, char*** argv, void (*Write)(const std::filesystem::path& Dir)) {
  const std::string flag = "-make_corpus=";
  for (int i = 1; i < *argc; ++i) {
    const std::string arg = (*argv)[i];
    if (arg.rfind(flag, 0) != 0) continue;
    const std::filesystem::path dir = arg.substr(flag.size());
    std::filesystem::create_directories(dir);
    Write(dir);
    std::exit(0);
  }
}

void WriteSeed(const std::filesystem::path& Dir, const std::string& Name, const std::vector<std::uint8_t>& Bytes) {
  std::ofstream f(Dir / Name, std::ios::binary | std::ios::trunc);
  f.write(reinterpret_cast<const char*>(Bytes.data()), static_cast<std::streamsize>(Bytes.size()));
  FUZZ_CHECK(f.good(), "cannot write the seed " + Name);
}

}  // namespace ondrix::fuzz
