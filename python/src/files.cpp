// ondrix.read / write / info: signal files of every format the file unit handles, as
// (frames, channels) arrays.
#include <algorithm>
#include <cstring>
#include <optional>
#include <stdexcept>

#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include "apps/ondrix/tool_common.h"
#include "bindings.h"
#include "ondrix/FileSignal/FileSignal.h"
#include "ondrix/vec/calcbase.h"

namespace ondrix::python {

namespace {

const char* const kPrecisions[] = {"double", "single", "int32", "uint32", "int16", "uint16",
                                   "int8",   "uint8",  "mulaw", "alaw",   "int24"};

/// A precision by its short name (int16, ...) or its value name (prSmallInt, ...).
TPrecision PrecisionOf(const std::string& name) {
  for (int p = prDouble; p <= prInt24; ++p)
    if (name == kPrecisions[p] || name == PrecisionNames()[static_cast<std::size_t>(p)]) return static_cast<TPrecision>(p);
  throw py::value_error("unknown precision '" + name +
                        "' (double, single, int32, uint32, int16, uint16, int8, uint8, mulaw, alaw, int24)");
}

/// Opens path in r.
void Open(TSignalRead& r, const std::string& path) {
  r.SetName("Reader");  // its errors then say where they come from
  r.SetFileName(path);
  r.OpenFile();
}

/// Record `record` of a file, whole: samples (frames, channels), rate, description.
py::tuple Read(const std::filesystem::path& path, int record) {
  TSignalRead r(nullptr);
  Open(r, path);
  if (record < 0 || record >= r.NumberOfRecords())
    throw ondrix::Exception("record " + std::to_string(record) + " of " + std::to_string(r.NumberOfRecords()) +
                            " does not exist");
  TVec all;
  int channels = 1;
  {
    py::gil_scoped_release released;
    r.SetRecordNumber(record);
    r.SetLastFrameCheck(lfcAdjustLength);
    r.SetLength(app::NaturalFrame(r, 65536));
    r.SetRecordPosition(0);
    channels = std::max(r.ChannelCount(), 1);
    all.Size(0, r.Complex());
    all.Resize(r.RecordLength() * channels);
    int filled = 0;
    while (r.Pull() == pipeOK) {
      const TVec& d = r.Data();
      if (d.Complex() != all.Complex()) all.Size(all.Length(), d.Complex());
      if (filled + d.Length() > all.Length()) all.Resize(filled + d.Length());
      std::memcpy(all.PValues() + (all.Complex() ? 2 : 1) * filled, d.PValues(), sizeof(double) * d.RealLength());
      filled += d.Length();
    }
    all.Resize(filled - filled % channels);
  }
  const double fs = r.SamplingFrequency();
  const std::string description = r.FormatDescription();
  const py::ssize_t frames = all.Length() / channels;
  return py::make_tuple(FromVec(std::move(all), frames, channels), fs, description);
}

/// The file's format and its records.
py::dict Info(const std::filesystem::path& path) {
  TSignalRead r(nullptr);
  Open(r, path);
  py::list records;
  for (int k = 0; k < r.NumberOfRecords(); ++k) {
    r.SetRecordNumber(k);
    py::dict d;
    d["samples"] = r.RecordLength();
    d["duration"] = r.RecordTime();
    d["rate"] = r.SamplingFrequency();
    d["channels"] = r.ChannelCount();
    d["precision"] = kPrecisions[r.Precision()];
    d["complex"] = r.Complex();
    records.append(d);
  }
  py::dict info;
  info["file"] = path.string();
  info["format"] = r.FormatTagDescription();
  info["description"] = r.FormatDescription();
  info["records"] = records;
  return info;
}

/// Writes samples (frames × channels, or one channel) as one record.
void Write(const std::filesystem::path& path, const py::handle& samples, double fs, const std::optional<std::string>& precision) {
  py::array a = AsSamples(samples);
  if (a.ndim() != 1 && a.ndim() != 2) throw py::value_error("samples must be 1-D or 2-D (frames, channels)");
  const py::ssize_t frames = a.shape(0), channels = a.ndim() == 2 ? a.shape(1) : 1;
  if (channels < 1) throw py::value_error("samples have no channel");
  if (!(fs > 0)) throw py::value_error("the sampling rate must be above 0");
  TSignal src(nullptr);
  src.SetName("Samples");
  src.Data().Size(static_cast<int>(frames * channels), a.dtype().kind() == 'c');
  if (frames > 0) std::memcpy(src.Data().PValues(), a.data(), sizeof(double) * src.Data().RealLength());
  src.SetChannelCount(static_cast<int>(channels));
  src.SetSamplingFrequency(fs);
  TSignalWrite w(nullptr);
  w.SetName("Writer");
  w.SetFileName(path.string());
  TPrecision p = prDouble;
  if (precision)
    p = PrecisionOf(*precision);
  else if (w.FileFormat() == ffWav)
    p = prSingle;  // the default of a wave file that cannot hold doubles
  if (w.FileFormat() == ffWav && !app::WaveWritable(p))
    throw py::value_error("a wave file stores uint8, int16, int24, int32 or single, not " + *precision);
  w.SetPrecision(p);
  w.SetInput(&src);
  py::gil_scoped_release released;
  if (w.FileFormat() == ffSgl) {
    w.SaveRecord();
  } else {
    w.Update();
  }
  w.CloseFile();
}

}  // namespace

void BindFiles(py::module_& m) {
  m.def("read", &Read, py::arg("path"), py::arg("record") = 0,
        "Reads record `record` of a signal file (.wav, .dat, .bin, .dbn, .sgl, .sfs, .asc).\n\n"
        "Returns (samples, fs, description): samples as float64 (complex128 for complex records) "
        "shaped (frames, channels), the sampling rate in Hz and the file's format description. "
        "Integer precisions read as their integer values (an int16 sample of 1000 reads 1000.0).");
  m.def("info", &Info, py::arg("path"),
        "The file's format, description and records (samples, duration, rate, channels, precision, complex).");
  m.def("write", &Write, py::arg("path"), py::arg("samples"), py::arg("fs"), py::arg("precision") = py::none(),
        "Writes samples (1-D, or 2-D shaped (frames, channels)) as one record; the format follows the "
        "extension. Values are stored unscaled, rounded and saturated at integer precisions.\n"
        "precision: double, single, int32, uint32, int16, uint16, int8, uint8, mulaw, alaw, int24 "
        "(default: double, or single for a .wav file).");
}

}  // namespace ondrix::python
