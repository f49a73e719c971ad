// The benchmark's C++ side: the work the streaming objects do, timed in a C++ loop on data
// already in TVecs (no conversion, no allocation after the first round), so that
// bench/python_bench.py can put the Python layer's throughput against the library's own.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>

#include "bindings.h"
#include "ondrix/SignalAnalysis/SignalAnalysis.h"
#include "ondrix/sigcore/fir_state.h"
#include "ondrix/sigcore/iir_state.h"

namespace ondrix::python {

namespace {

template <class Work>
double SecondsPerRound(int rounds, Work&& work) {
  work();  // the first round sizes every buffer
  const auto start = std::chrono::steady_clock::now();
  for (int r = 0; r < rounds; ++r) work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() / std::max(rounds, 1);
}

/// Frames of n samples every hop samples of x (and y) through an analyzer, as a C++ program
/// feeding the component would.
template <class A>
double TimeAnalyzer(A& an, TSignal& sx, TSignal* sy, const TVec& x, const TVec* y, int n, int hop, int rounds) {
  return SecondsPerRound(rounds, [&] {
    an.Stats()->Reset();
    for (int s = 0; s + n <= x.Length(); s += hop) {
      sx.Data().Size(n, false);
      std::memcpy(sx.Data().PValues(), x.PValues() + s, sizeof(double) * n);
      if (sy) {
        sy->Data().Size(n, false);
        std::memcpy(sy->Data().PValues(), y->PValues() + s, sizeof(double) * n);
      }
      an.Update();
    }
  });
}

/// Filters x in blocks of `block` samples (0: whole), viewed in place (no copy).
template <class Step>
void InBlocks(TVec& x, int block, Step&& step) {
  const int total = x.Length();
  if (block <= 0) block = total;
  for (int s = 0; s < total; s += block) {
    x.SetSubRange(s, std::min(block, total - s));
    step(x);
  }
  x.SetFullRange();
}

double NativeSeconds(const std::string& kind, const py::handle& xo, const py::handle& param, int n, int overlap,
                     int rounds, int block) {
  TVec x = ToVec(xo);
  if (kind == "sos") {
    auto a = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(param);
    TVec sos(static_cast<int>(a.size()));
    std::memcpy(sos.PValues(), a.data(), sizeof(double) * a.size());
    TIirState state;
    IirInit(sos, state);
    TVec out;
    py::gil_scoped_release released;
    return SecondsPerRound(rounds, [&] {
      IirReset(state);
      InBlocks(x, block, [&](const TVec& b) { IirFilter(b, out, state); });
    });
  }
  if (kind == "fir") {
    TFirState state;
    FirInit(ToVec(param), state);
    TVec out;
    py::gil_scoped_release released;
    return SecondsPerRound(rounds, [&] {
      FirReset(state);
      InBlocks(x, block, [&](const TVec& b) { FirFilter(b, out, state); });
    });
  }
  TSignal sx(nullptr), sy(nullptr);
  sx.SetSamplingFrequency(1.0);
  sy.SetSamplingFrequency(1.0);
  if (kind == "spectrum") {
    TSpectrumAnalyzer an(nullptr);
    an.SetInput(&sx);
    an.SetWindow(wtHanning);
    an.SetSpectrumType(stPower);
    an.SetPhaseMode(pmIgnore);
    an.Stats()->SetAveraging(avLinearInf);
    py::gil_scoped_release released;
    return TimeAnalyzer(an, sx, nullptr, x, nullptr, n, n - overlap, rounds);
  }
  if (kind == "coherence") {
    const TVec y = ToVec(param);
    TCrossSpectrumAnalyzer an(nullptr);
    an.SetInput(&sx);
    an.SetOutput(&sy);
    an.SetWindow(wtHanning);
    an.SetPhaseMode(pmIgnore);
    py::gil_scoped_release released;
    return TimeAnalyzer(an, sx, &sy, x, &y, n, n - overlap, rounds);
  }
  throw py::value_error("unknown kind '" + kind + "' (sos, fir, spectrum, coherence)");
}

}  // namespace

void BindTiming(py::module_& m) {
  m.def("_native_seconds", &NativeSeconds, py::arg("kind"), py::arg("x"), py::arg("param") = py::none(),
        py::arg("length") = 0, py::arg("overlap") = 0, py::arg("rounds") = 10, py::arg("block") = 0,
        "Benchmark helper: seconds per round of the library's own work on x in C++ (kind sos: param "
        "the sections; fir: the taps, both in blocks of `block` samples; spectrum: frames of `length`; coherence: "
        "param the second signal).");
}

}  // namespace ondrix::python
