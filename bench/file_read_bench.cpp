// Reading a 16-bit stereo wave file of 2^24 samples per channel to doubles in frames of 4096
// samples per channel: the reader against libsndfile's sf_readf_double and, through a peer
// script, scipy.io.wavfile.read followed by conversion to float64. Then the growth of the peak
// resident memory while the reader goes through a 1 GiB file. Targets: >= 1x libsndfile,
// >= 2x SciPy, < 16 MiB.
#include <sndfile.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

#include "bench/bench_common.h"
#include "ondrix/FileSignal/FileSignal.h"

namespace {

using namespace ondrix;
using namespace ondrix::bench;

constexpr int kFrame = 4096;
constexpr int kChannels = 2;
const std::filesystem::path kDir = std::filesystem::temp_directory_path() / ("ondrix_file_bench_" + std::to_string(getpid()));
const std::string kFile = (kDir / "stereo.wav").string();

/// A 16-bit stereo wave file of `frames` samples per channel: a tone and its echo. With
/// sparse set, the data is a hole of zeros (for the memory check, costs no disk).
void MakeWave(const std::string& path, std::int64_t frames, bool sparse) {
  const std::int64_t bytes = frames * kChannels * 2;
  auto le = [](std::ofstream& f, std::uint32_t v, int n) {
    for (int i = 0; i < n; ++i) f.put(static_cast<char>(v >> (8 * i)));
  };
  std::ofstream f(path, std::ios::binary);
  f.write("RIFF", 4);
  le(f, static_cast<std::uint32_t>(bytes + 36), 4);
  f.write("WAVEfmt ", 8);
  le(f, 16, 4);
  le(f, 1, 2);
  le(f, kChannels, 2);
  le(f, 48000, 4);
  le(f, 48000 * 2 * kChannels, 4);
  le(f, 2 * kChannels, 2);
  le(f, 16, 2);
  f.write("data", 4);
  le(f, static_cast<std::uint32_t>(bytes), 4);
  if (sparse) {
    f.close();
    std::filesystem::resize_file(path, 44 + bytes);
    return;
  }
  std::vector<std::int16_t> block(1 << 16);
  for (std::int64_t at = 0; at < frames * kChannels; at += static_cast<std::int64_t>(block.size())) {
    for (std::size_t i = 0; i < block.size(); ++i)
      block[i] = static_cast<std::int16_t>(((at + static_cast<std::int64_t>(i)) * 7919) % 60001 - 30000);
    f.write(reinterpret_cast<const char*>(block.data()), static_cast<std::streamsize>(block.size() * 2));
  }
}

double ReadAllWithReader(const std::string& path) {
  TSignalRead r(nullptr);
  r.SetFileName(path);
  r.SetLength(kFrame * kChannels);
  double sum = 0;
  while (r.Pull() == pipeOK) sum += r.Data().Values(0);
  return sum;
}

void BM_TSignalRead(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(ReadAllWithReader(kFile));
}
BENCHMARK(BM_TSignalRead)->Unit(benchmark::kMillisecond);

void BM_SndfileReadfDouble(benchmark::State& state) {
  std::vector<double> frame(kFrame * kChannels);
  for (auto _ : state) {
    SF_INFO info{};
    SNDFILE* f = sf_open(kFile.c_str(), SFM_READ, &info);
    sf_command(f, SFC_SET_NORM_DOUBLE, nullptr, SF_FALSE);  // integer range, as the reader gives
    double sum = 0;
    while (sf_readf_double(f, frame.data(), kFrame) > 0) sum += frame[0];
    sf_close(f);
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(BM_SndfileReadfDouble)->Unit(benchmark::kMillisecond);

long PeakRssKiB() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return u.ru_maxrss;
}

}  // namespace

int main(int argc, char** argv) {
  std::filesystem::create_directories(kDir);
  MakeWave(kFile, std::int64_t{1} << 24, false);
  TimeKeeper keeper;
  const bool ok = RunBenchmarks(argc, argv, keeper);

  // Every sample, summed by the reader and by the peer, must agree.
  double sum = 0;
  {
    TSignalRead r(nullptr);
    r.SetFileName(kFile);
    r.SetLength(kFrame * kChannels);
    while (r.Pull() == pipeOK) sum += r.Data().Sum();
  }
  const auto peer = RunPeer("file_read_peer.py", "'" + kFile + "'");
  const double ours = keeper.seconds["BM_TSignalRead"], sndfile = keeper.seconds["BM_SndfileReadfDouble"];
  const double scipy = PeerValue(peer, "wavfile");
  std::printf("\nlibsndfile / reader time: %.2f (target >= 1)\n", sndfile / ours);
  if (scipy > 0)
    std::printf("scipy.io.wavfile + astype / reader time: %.2f (target >= 2); sums %s\n", scipy / ours,
                PeerValue(peer, "check sum") == sum ? "agree" : "DIFFER");
  else
    std::printf("scipy peer did not run\n");

  const std::string big = (kDir / "big.wav").string();
  MakeWave(big, (std::int64_t{1} << 30) / (2 * kChannels) - 16, true);
  // The peak so far bounds what the read may use unnoticed: say how far above the resident
  // size it already was.
  long pages = 0, resident = 0;
  if (std::FILE* f = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
    std::fclose(f);
  }
  const double residentMiB = resident * (sysconf(_SC_PAGESIZE) / 1048576.0);
  const long before = PeakRssKiB();
  ReadAllWithReader(big);
  const long grown = PeakRssKiB() - before;
  std::printf("peak resident memory growth reading a 1 GiB file: %.2f MiB (target < 16; resident before %.1f MiB, "
              "peak before %.1f MiB)\n",
              grown / 1024.0, residentMiB, before / 1024.0);
  std::filesystem::remove_all(kDir);
  return ok ? 0 : 1;
}
