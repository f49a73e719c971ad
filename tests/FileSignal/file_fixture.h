// Shared scaffolding of the file-unit tests: a scratch folder, a source of given blocks, and
// whole-record writing and reading through the components.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>
#include <string>
#include <vector>

#include "ondrix/FileSignal/FileSignal.h"
#include "tests/common/block_source.h"
#include "tests/common/reference.h"

namespace ondrix::testing {

/// values[from, from + n) as a vector.
inline TVec Slice(const TVec& v, int from, int n) {
  TVec s;
  s.Size(n, v.Complex());
  s.Copy(v, from, 0, n);
  return s;
}

/// Test fixture with a scratch folder removed afterwards.
class FileTest : public ::testing::Test {
protected:
  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    dir_ = std::filesystem::temp_directory_path() /
           ("ondrix_" + std::string(info->test_suite_name()) + "_" + info->name() + "_" +
            std::to_string(::getpid()));
    std::filesystem::remove_all(dir_);
    std::filesystem::create_directories(dir_);
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }
  std::string Path(const std::string& name) const { return (dir_ / name).string(); }

  /// Writes blocks (values over all channels) as one record through a pulled writer.
  void WriteBlocks(const std::string& file, const std::vector<TVec>& blocks, int channels = 1,
                   TPrecision precision = prDouble, double fs = 1000.0) {
    TBlockSource src(channels, fs);
    src.Blocks = blocks;
    TSignalWrite w(nullptr);
    w.SetInput(&src);
    w.SetPrecision(precision);
    w.SetFileName(file);
    while (w.Pull() == pipeOK) {
    }
    w.CloseFile();
  }

public:
  /// Every value of the selected record, read frame by frame (frames of `frame` values).
  static TVec ReadAll(TSignalRead& r, int frame = 64) {
    r.SetLength(frame);
    r.SetLastFrameCheck(lfcAdjustLength);
    std::vector<double> all;
    bool complex = false;
    while (r.Pull() == pipeOK) {
      complex = r.Complex();
      all.insert(all.end(), r.Data().PValues(), r.Data().PValues() + r.Data().RealLength());
    }
    return Vec(all, complex);
  }

  /// The whole content of a file.
  static std::vector<unsigned char> Bytes(const std::string& file) {
    std::ifstream f(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
  }

private:
  std::filesystem::path dir_;
};

}  // namespace ondrix::testing
