// Shared scaffolding of the fuzz targets: a scratch folder per process, the errors a malformed
// input may give, checks that end the run as a finding, whole-record reading and writing, and
// the byte comparisons of the stream round trips.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "ondrix/FileSignal/FileSignal.h"
#include "ondrix/framework/TStream.h"
#include "ondrix/framework/errors.h"
#include "ondrix/vec/exceptions.h"

/// Ends the run with a message when Cond fails: libFuzzer keeps the input as a crash.
#define FUZZ_CHECK(Cond, What)                                                           \
  do {                                                                                   \
    if (!(Cond)) ::ondrix::fuzz::Fail(__FILE__, __LINE__, #Cond, std::string(What)); \
  } while (0)

namespace ondrix::fuzz {

/// Reports a failed check and aborts.
[[noreturn]] void Fail(const char* File, int Line, const char* Cond, const std::string& What);

/// This process's own folder (under /dev/shm when there is one), removed at exit.
const std::filesystem::path& ScratchDir();

/// Writes Size bytes to Name in the scratch folder; the file's path.
std::string WriteScratch(const std::string& Name, const std::uint8_t* Data, std::size_t Size);

/// Runs F. The library's own exceptions are the clear errors that a malformed input may give:
/// false when one was raised. Any other exception escapes and is a finding.
template <class F>
bool Clean(F&& f) {
  try {
    f();
    return true;
  } catch (const ondrix::Exception&) {  // the root of every library error
  }
  return false;
}

/// Equal values, or both NaN (a NaN's payload may change on a float round trip).
bool SameValue(double A, double B);

/// A record as a reader delivers it, and what a writer needs to store it again.
struct TRecordRead {
  std::vector<double> Values;  // re, im pairs when complex
  bool Complex = false;
  int ChannelCount = 1;
  int RecordLength = 0;
  double SamplingFrequency = 1.0;
  TPrecision Precision = prDouble;
};

/// Pulls an open reader from its position to the end in frames of Length values, the last
/// one shortened (lfcAdjustLength); Keep, when given, receives every frame. More than
/// MaxPulls pulls (negative: FramesLeft) is a finding: the reader no longer advances.
void PullToEnd(TSignalRead& Reader, int Length, std::int64_t MaxPulls = -1, TRecordRead* Keep = nullptr);

/// Frames of Length values from the reader's position to the end, plus two.
std::int64_t FramesLeft(const TSignalRead& Reader, int Length);

/// The selected record of an open reader, pulled whole from its start (see PullToEnd).
TRecordRead ReadRecord(TSignalRead& Reader, int Length, std::int64_t MaxPulls = -1);

/// Writes the records to FileName through TSignalWrite, one SaveRecord each, at their own
/// precision.
void WriteRecords(const std::string& FileName, const std::vector<TRecordRead>& Records);

/// Compares two readings of the same records value by value; a difference is a finding.
void CheckSameRecords(const std::vector<TRecordRead>& Want, const std::vector<TRecordRead>& Got);

/// When the command line holds "-make_corpus=DIR", writes the target's seeds there with
/// Write and exits; otherwise does nothing. Called from LLVMFuzzerInitialize, before
/// libFuzzer reads its flags.
void MakeCorpusIfAsked(int* argc, char*** argv, void (*Write)(const std::filesystem::path& Dir));

/// Writes Bytes as the seed Name in Dir.
void WriteSeed(const std::filesystem::path& Dir, const std::string& Name, const std::vector<std::uint8_t>& Bytes);

/// The whole content of a file.
std::vector<std::uint8_t> ReadBytes(const std::string& FileName);

/// Makes M hold Size bytes of Data, positioned at its start.
void Fill(TMemoryStream& M, const std::uint8_t* Data, std::size_t Size);

/// What Save writes to an empty memory stream.
template <class F>
std::vector<std::uint8_t> Saved(F&& Save) {
  TMemoryStream m;
  Save(m);
  return {m.Memory(), m.Memory() + m.Size()};
}

/// Two writings of what should be the same object must be the same: a difference is a
/// finding, reported at its first byte.
void CheckSame(const std::string& First, const std::string& Second, const std::string& What);
void CheckSame(const std::vector<std::uint8_t>& First, const std::vector<std::uint8_t>& Second,
               const std::string& What);

/// A signal that holds one block: the input of a writer.
class TBlockSignal : public TSignal {
public:
  TBlockSignal() : TSignal(nullptr) {}
  TPipeState InternalUpdate() override { return pipeOK; }
};

}  // namespace ondrix::fuzz
