#include "apps/ondrix/plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <stdexcept>

#include <CLI/CLI.hpp>
#include <plplot/plplot.h>

namespace ondrix::app {

namespace {

std::string Extension(const std::string& file) {
  std::string e = std::filesystem::path(file).extension().string();
  std::transform(e.begin(), e.end(), e.begin(), [](unsigned char c) { return std::tolower(c); });
  return e;
}

/// PLplot's device for a file, or "" when the extension names none.
const char* Device(const std::string& file) {
  const std::string e = Extension(file);
  if (e == ".svg") return "svg";
  if (e == ".png") return "pngcairo";
  if (e == ".pdf") return "pdfcairo";
  return "";
}

bool HasDevice(const char* name) {
  // PLplot fills arrays that the caller sizes
  const char* menuArray[128];
  const char* nameArray[128];
  const char** menus = menuArray;
  const char** names = nameArray;
  int n = 128;
  plgDevs(&menus, &names, &n);
  for (int i = 0; i < n; ++i)
    if (std::strcmp(names[i], name) == 0) return true;
  return false;
}

// PLplot ends the process on a fatal error; the tool's convention is one line and status 1.
int OnPlplotExit(const char* message) {
  std::fprintf(stderr, "ondrix: plot: %s\n", message);
  return 1;
}

// Tick labels as plain numbers: 10, 100, 1k, 10k on a log axis (PLplot hands it the
// exponent), 2500 or 0.25 on a linear one, never a common factor written apart.
struct LogAxes {
  bool x = false, y = false;
};
LogAxes gLogAxes;

void Label(PLINT axis, PLFLT value, char* label, PLINT length, PLPointer) {
  const bool log = axis == PL_X_AXIS ? gLogAxes.x : axis == PL_Y_AXIS ? gLogAxes.y : false;
  if (!log) {
    std::snprintf(label, length, "%.6g", std::abs(value) < 1e-12 ? 0.0 : value);
    return;
  }
  const double v = std::pow(10.0, value);
  if (v >= 1e6) std::snprintf(label, length, "%gM", v / 1e6);
  else if (v >= 1e3) std::snprintf(label, length, "%gk", v / 1e3);
  else std::snprintf(label, length, "%g", v);
}

// palette: 0 background, 1 frame and text, 2 grid, 3.. data curves
constexpr int kFrame = 1, kGrid = 2, kData = 3;
constexpr int kCurveColours = 5;

void SetPalette() {
  plscolbg(255, 255, 255);
  plscol0(kFrame, 0, 0, 0);
  plscol0(kGrid, 215, 215, 215);
  const int data[kCurveColours][3] = {{31, 90, 170}, {214, 95, 20}, {40, 150, 60}, {200, 30, 40}, {120, 80, 170}};
  for (int i = 0; i < kCurveColours; ++i) plscol0(kData + i, data[i][0], data[i][1], data[i][2]);
  // a perceptually ordered map, dark for low values
  PLFLT pos[] = {0.0, 0.25, 0.5, 0.75, 1.0};
  PLFLT r[] = {68 / 255.0, 59 / 255.0, 33 / 255.0, 94 / 255.0, 253 / 255.0};
  PLFLT g[] = {1 / 255.0, 82 / 255.0, 145 / 255.0, 201 / 255.0, 231 / 255.0};
  PLFLT b[] = {84 / 255.0, 139 / 255.0, 140 / 255.0, 98 / 255.0, 37 / 255.0};
  plscmap1n(256);
  plscmap1l(1, 5, pos, r, g, b, nullptr);
}

double World(double v, bool log) { return log ? std::log10(v) : v; }

}  // namespace

void AddPlotOptions(CLI::App& sub, TPlotOptions& o, const std::string& what) {
  sub.add_option("--plot", o.File, what + ": FILE.svg, .png or .pdf");
  sub.add_option_function<std::string>(
         "--plot-size",
         [&o](const std::string& v) {
           int w = 0, h = 0;
           char x = 0, extra = 0;
           if (std::sscanf(v.c_str(), "%d%c%d%c", &w, &x, &h, &extra) != 3 || (x != 'x' && x != 'X') || w < 200 ||
               h < 150 || w > 10000 || h > 10000)
             throw CLI::ValidationError("--plot-size", "takes WIDTHxHEIGHT in pixels, 200x150 .. 10000x10000");
           o.Width = w, o.Height = h;
         },
         "Plot size in pixels, WIDTHxHEIGHT (points for .svg and .pdf)")
      ->type_name("WxH");
}

void CheckPlotFile(const std::string& file, const std::string& option) {
  const char* dev = Device(file);
  if (!*dev) throw CLI::ValidationError(option, "the plot file's extension names its format: .svg, .png or .pdf");
  if (!HasDevice(dev))
    throw std::runtime_error(std::string("PLplot has no '") + dev + "' driver here (Debian: plplot-driver-cairo)");
  std::FILE* f = std::fopen(file.c_str(), "wb");
  if (!f) throw std::runtime_error("cannot write " + file);
  std::fclose(f);
}

TFigure::TFigure(const std::string& file, int panels, int width, int height) {
  CheckPlotFile(file);
  if (height <= 0) height = 560 + 300 * (panels - 1);
  plsexit(OnPlplotExit);
  plsdev(Device(file));
  plsfnam(file.c_str());
  plspage(0, 0, width, height, 0, 0);
  SetPalette();
  plssub(1, panels);
  plinit();
}

TFigure::~TFigure() { plend(); }

int TFigure::MaxColumns(const std::string& file) { return std::string(Device(file)) == "svg" ? 160 : 1200; }
int TFigure::MaxRows(const std::string& file) { return std::string(Device(file)) == "svg" ? 120 : 1200; }

void TFigure::Frame(const TAxis& x, const TAxis& y, bool colourBar) {
  pladv(++panel_);
  plschr(0, 0.85);
  plvpor(0.09, colourBar ? 0.84 : 0.95, 0.15, 0.88);
  plwind(World(x.Lo, x.Log), World(x.Hi, x.Log), World(y.Lo, y.Log), World(y.Hi, y.Log));
  gLogAxes = {x.Log, y.Log};
  plslabelfunc(Label, nullptr);
}

void TFigure::Lines(const std::string& title, const TAxis& x, const TAxis& y, const std::vector<TCurve>& curves) {
  Frame(x, y, false);
  const std::string xo = x.Log ? "lo" : "o", yo = y.Log ? "lo" : "o";
  plcol0(kGrid);
  plbox((std::string("g") + (x.Log ? "hl" : "")).c_str(), 0, 0, (std::string("g") + (y.Log ? "hl" : "")).c_str(), 0, 0);
  plwidth(1.5);
  for (const TCurve& c : curves) {
    plcol0(kData + c.Colour % kCurveColours);
    // a point that cannot be drawn breaks the curve
    std::vector<PLFLT> wx, wy;
    auto flush = [&] {
      if (wx.size() > 1) plline(static_cast<PLINT>(wx.size()), wx.data(), wy.data());
      wx.clear(), wy.clear();
    };
    for (std::size_t i = 0; i < std::min(c.X.size(), c.Y.size()); ++i) {
      if (!std::isfinite(c.X[i]) || !std::isfinite(c.Y[i]) || (x.Log && c.X[i] <= 0) || (y.Log && c.Y[i] <= 0)) {
        flush();
        continue;
      }
      wx.push_back(World(c.X[i], x.Log));
      wy.push_back(std::clamp(World(c.Y[i], y.Log), World(y.Lo, y.Log), World(y.Hi, y.Log)));
    }
    flush();
  }
  plwidth(1.0);
  plcol0(kFrame);
  plbox(("bcnst" + xo).c_str(), 0, 0, ("bcnstv" + yo).c_str(), 0, 0);
  pllab(x.Label.c_str(), y.Label.c_str(), title.c_str());
  // a legend only when curves are named
  std::vector<const TCurve*> named;
  for (const TCurve& c : curves)
    if (!c.Legend.empty()) named.push_back(&c);
  if (named.empty()) return;
  const int n = static_cast<int>(named.size());
  std::vector<PLINT> opts(n, PL_LEGEND_LINE), colours(n), styles(n, 1);
  std::vector<PLFLT> widths(n, 1.5);
  std::vector<const char*> texts(n);
  for (int i = 0; i < n; ++i) {
    colours[i] = kData + named[i]->Colour % kCurveColours;
    texts[i] = named[i]->Legend.c_str();
  }
  PLFLT w = 0, h = 0;
  pllegend(&w, &h, PL_LEGEND_BACKGROUND | PL_LEGEND_BOUNDING_BOX, PL_POSITION_TOP | PL_POSITION_RIGHT | PL_POSITION_INSIDE,
           0.01, 0.01, 0.08, 0, kFrame, 1, 0, 0, n, opts.data(), 1.0, 0.9, 2.0, 0.0, colours.data(), texts.data(),
           nullptr, nullptr, nullptr, nullptr, colours.data(), styles.data(), widths.data(), nullptr, nullptr,
           nullptr, nullptr);
}

void TFigure::Image(const std::string& title, const TAxis& x, const TAxis& y, const TImage& image) {
  if (image.Columns < 1 || image.Rows < 1 || image.Z.size() != static_cast<std::size_t>(image.Columns) * image.Rows)
    throw std::logic_error("TFigure::Image: the values do not fill the image");
  Frame(x, y, true);
  std::vector<PLFLT> z(image.Z.size());
  for (std::size_t i = 0; i < z.size(); ++i)
    z[i] = std::isfinite(image.Z[i]) ? std::clamp(image.Z[i], image.ZLo, image.ZHi) : image.ZLo;
  std::vector<PLFLT*> columns(image.Columns);
  for (int c = 0; c < image.Columns; ++c) columns[c] = z.data() + static_cast<std::size_t>(c) * image.Rows;
  const PLFLT x0 = World(x.Lo, x.Log), x1 = World(x.Hi, x.Log), y0 = World(y.Lo, y.Log), y1 = World(y.Hi, y.Log);
  plimage(columns.data(), image.Columns, image.Rows, x0, x1, y0, y1, image.ZLo, image.ZHi, x0, x1, y0, y1);
  plcol0(kFrame);
  plbox((std::string("bcnst") + (x.Log ? "lo" : "o")).c_str(), 0, 0, (std::string("bcnstv") + (y.Log ? "lo" : "o")).c_str(), 0, 0);
  pllab(x.Label.c_str(), y.Label.c_str(), title.c_str());
  PLFLT w = 0, h = 0;
  PLINT labelOpts[] = {PL_COLORBAR_LABEL_RIGHT};
  const char* labels[] = {image.ZLabel.c_str()};
  const char* axisOpts[] = {"bcvtm"};
  PLFLT ticks[] = {0.0};
  PLINT subTicks[] = {0};
  PLINT counts[] = {2};
  PLFLT range[] = {image.ZLo, image.ZHi};
  const PLFLT* values[] = {range};
  plcolorbar(&w, &h, PL_COLORBAR_IMAGE, PL_POSITION_RIGHT | PL_POSITION_OUTSIDE | PL_POSITION_VIEWPORT, 0.015, 0.0,
             0.025, 1.0, 0, kFrame, 1, 0, 0, 0, 0.0, 1, labelOpts, labels, 1, axisOpts, ticks, subTicks, counts,
             values);
}

TAxis DbAxis(const std::string& label, const std::vector<double>& v, double span) {
  double hi = -std::numeric_limits<double>::infinity(), lo = std::numeric_limits<double>::infinity();
  for (double d : v)
    if (std::isfinite(d)) hi = std::max(hi, d), lo = std::min(lo, d);
  if (!std::isfinite(hi)) return {label, -100.0, 0.0, false};
  const double top = 10.0 * std::floor(hi / 10.0) + 10.0;
  const double bottom = std::max(10.0 * std::floor(lo / 10.0), top - span);
  return {label, std::min(bottom, top - 20.0), top, false};
}

TAxis FitAxis(const std::string& label, const std::vector<double>& v) {
  double hi = -std::numeric_limits<double>::infinity(), lo = std::numeric_limits<double>::infinity();
  for (double d : v)
    if (std::isfinite(d)) hi = std::max(hi, d), lo = std::min(lo, d);
  if (!std::isfinite(hi)) return {label, -1.0, 1.0, false};
  const double margin = hi > lo ? 0.05 * (hi - lo) : std::max(1.0, std::abs(hi) * 0.05);
  return {label, lo - margin, hi + margin, false};
}

TEnvelope::TEnvelope(long long total, int columns)
    : total_(std::max(total, 1LL)), columns_(total <= 2LL * columns ? 0 : columns) {
  if (columns_ == 0) {
    lo_.reserve(static_cast<std::size_t>(total_));
  } else {
    lo_.assign(columns_, std::numeric_limits<double>::infinity());
    hi_.assign(columns_, -std::numeric_limits<double>::infinity());
  }
}

void TEnvelope::Add(double v) {
  if (columns_ == 0) {
    lo_.push_back(v);
  } else {
    const auto c = static_cast<std::size_t>(std::min<long long>(n_ * columns_ / total_, columns_ - 1));
    lo_[c] = std::min(lo_[c], v);
    hi_[c] = std::max(hi_[c], v);
  }
  ++n_;
}

TCurve TEnvelope::Curve(double dt) const {
  TCurve c;
  if (columns_ == 0) {
    for (std::size_t i = 0; i < lo_.size(); ++i) c.X.push_back(dt * i), c.Y.push_back(lo_[i]);
    return c;
  }
  for (int k = 0; k < columns_; ++k) {
    if (lo_[k] > hi_[k]) continue;  // no sample reached this column
    const double t = dt * (static_cast<double>(total_) * (k + 0.5) / columns_);
    // alternate the stroke's direction so that neighbouring columns join at their ends
    c.X.insert(c.X.end(), {t, t});
    if (k % 2) c.Y.insert(c.Y.end(), {hi_[k], lo_[k]});
    else c.Y.insert(c.Y.end(), {lo_[k], hi_[k]});
  }
  return c;
}

TImage Pool(const TImage& in, int maxColumns, int maxRows) {
  const int cols = std::min(in.Columns, maxColumns), rows = std::min(in.Rows, maxRows);
  TImage out{std::vector<double>(static_cast<std::size_t>(cols) * rows), cols, rows, in.ZLo, in.ZHi, in.ZLabel};
  for (int c = 0; c < cols; ++c) {
    const int c0 = static_cast<int>(static_cast<long long>(in.Columns) * c / cols);
    const int c1 = static_cast<int>(static_cast<long long>(in.Columns) * (c + 1) / cols);
    for (int r = 0; r < rows; ++r) {
      const int r0 = static_cast<int>(static_cast<long long>(in.Rows) * r / rows);
      const int r1 = static_cast<int>(static_cast<long long>(in.Rows) * (r + 1) / rows);
      double sum = 0.0;
      for (int i = c0; i < c1; ++i) {
        double m = -std::numeric_limits<double>::infinity();
        for (int j = r0; j < r1; ++j) m = std::max(m, in.Z[static_cast<std::size_t>(i) * in.Rows + j]);
        sum += m;
      }
      out.Z[static_cast<std::size_t>(c) * rows + r] = sum / (c1 - c0);
    }
  }
  return out;
}

}  // namespace ondrix::app
