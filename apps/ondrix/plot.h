// The tool's figures: line plots and shaded images with a colour bar, written as SVG, PNG or
// PDF through PLplot. PLplot keeps one global stream, so one figure is open at a time.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ondrix::app {

/// A command's plot options: the file (none: no plot) and a size that overrides the command's
/// own (0: keep it).
struct TPlotOptions {
  std::string File;
  int Width = 0, Height = 0;
  /// The size to draw at: the one asked for, or width x height.
  int W(int width) const { return Width > 0 ? Width : width; }
  int H(int height) const { return Height > 0 ? Height : height; }
};

/// Adds --plot FILE (`what` says what is drawn) and --plot-size WxH to a command.
void AddPlotOptions(CLI::App& sub, TPlotOptions& o, const std::string& what);

/// Checks a plot file before long work starts: the extension names the format (.svg, .png,
/// .pdf; a usage error of `option` otherwise), PLplot has a driver for it and the file can be
/// created (runtime errors otherwise).
void CheckPlotFile(const std::string& file, const std::string& option = "--plot");

/// One axis: its label (with unit), its range and whether it is logarithmic (then Lo > 0).
struct TAxis {
  std::string Label;
  double Lo = 0.0, Hi = 1.0;
  bool Log = false;
};

/// A curve of a line plot; Colour indexes the figure's palette (0 = first data colour).
struct TCurve {
  std::vector<double> X, Y;
  int Colour = 0;
  std::string Legend;
};

/// A shaded image: Z[c * Rows + r] is the value of column c (x) and row r (y); values are
/// clipped to [ZLo, ZHi] and the colour bar says what they are.
struct TImage {
  std::vector<double> Z;
  int Columns = 0, Rows = 0;
  double ZLo = 0.0, ZHi = 1.0;
  std::string ZLabel;
};

/// A figure file of `panels` plots stacked vertically; written when destroyed.
class TFigure {
public:
  /// height 0: 560 pixels for one panel, 300 more for each further one.
  explicit TFigure(const std::string& file, int panels = 1, int width = 1000, int height = 0);
  ~TFigure();
  TFigure(const TFigure&) = delete;
  TFigure& operator=(const TFigure&) = delete;

  /// The next panel: curves in a frame with a grid, the title above.
  void Lines(const std::string& title, const TAxis& x, const TAxis& y, const std::vector<TCurve>& curves);
  /// The next panel: an image filling the frame, a colour bar on its right.
  void Image(const std::string& title, const TAxis& x, const TAxis& y, const TImage& image);
  /// The most image cells worth drawing in this format (a vector format draws each cell as a
  /// polygon, so it gets far fewer than a raster one).
  static int MaxColumns(const std::string& file);
  static int MaxRows(const std::string& file);

private:
  void Frame(const TAxis& x, const TAxis& y, bool colourBar);
  int panel_ = 0;
};

/// A dB axis over the finite values of v: from a whole 10 dB step above the largest down to
/// the smallest, but no more than `span` dB below the top.
TAxis DbAxis(const std::string& label, const std::vector<double>& v, double span = 160.0);

/// An axis that fits the finite values of v with a small margin (a flat curve gets ±1).
TAxis FitAxis(const std::string& label, const std::vector<double>& v);

/// A long signal fed sample by sample and drawn as `columns` vertical strokes from each
/// column's minimum to its maximum (what a plot of more points than pixels shows anyway);
/// a signal of at most twice as many samples as columns is kept whole.
class TEnvelope {
public:
  TEnvelope(long long total, int columns);
  void Add(double v);
  /// The curve, x in seconds (sample n at n·dt).
  TCurve Curve(double dt) const;

private:
  long long total_, n_ = 0;
  int columns_;
  std::vector<double> lo_, hi_;
};

/// Pools an image down to at most maxColumns x maxRows cells: columns by their mean, rows by
/// their largest value (so that a narrow line keeps its level when rows merge).
TImage Pool(const TImage& in, int maxColumns, int maxRows);

}  // namespace ondrix::app
