// A test source that serves given blocks in turn, then pipeEnd.
#pragma once

#include <cstddef>
#include <vector>

#include "ondrix/OndrixTools/TSignal.h"

namespace ondrix::testing {

/// A source that serves Blocks in turn, then pipeEnd.
class TBlockSource : public TSignal {
public:
  explicit TBlockSource(int channels = 1, double fs = 1000.0) : TSignal(nullptr) {
    SetChannelCount(channels);
    SetSamplingFrequency(fs);
  }
  std::vector<TVec> Blocks;
  std::size_t Next = 0;
  TPipeState InternalUpdate() override {
    if (Next >= Blocks.size()) return pipeEnd;
    SetData(Blocks[Next++]);
    return pipeOK;
  }
};

}  // namespace ondrix::testing
