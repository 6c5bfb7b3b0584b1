// SPDX-License-Identifier: Apache-2.0
//
// One drawing for both kinds of picture. Only text differs: cairo would turn an SVG's letters into outlines, so there
// they are written as text of their own, which can be searched and read aloud; a PNG gets them in cairo's built-in
// letters, which look the same on every machine and need no fonts.

#include "history/plot.h"

#include <cairo-svg.h>
#include <cairo.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <memory>

#include "history/chart.h"

namespace vexora::tool::history {
namespace {

constexpr double kWidth = 1200;
constexpr double kHeight = 790;
constexpr double kLeft = 80;
constexpr double kRight = kWidth - 60;
constexpr double kPanelHeight = 270;
constexpr double kPanelTops[] = {90, 455};
constexpr double kTextSize = 14;
constexpr double kTitleSize = 18;
constexpr double kPngScale = 2;  // for sharp lines on today's screens
constexpr int kTimeTicks = 10;
constexpr int kValueSteps = 6;
// More hours than this would be closer than the eye can part them: then a point stands for a day.
constexpr std::int64_t kMostHours = 1000;

struct Colour {
  double red;
  double green;
  double blue;
};
constexpr Colour kPaper{1, 1, 1};
constexpr Colour kInk{0.2, 0.2, 0.2};
constexpr Colour kGrid{0.85, 0.85, 0.85};
constexpr Colour kGap{0.95, 0.93, 0.8};
constexpr Colour kSeries[] = {{0.1, 0.35, 0.7}, {0.8, 0.3, 0.1}};
constexpr double kBandOpacity = 0.3;

enum class Anchor { kStart, kMiddle, kEnd };
constexpr const char *kAnchors[] = {"start", "middle", "end"};

struct FreeSurface {
  void operator()(cairo_surface_t *surface) const { cairo_surface_destroy(surface); }
};
struct FreeContext {
  void operator()(cairo_t *context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, FreeSurface>;

class Pen {
 public:
  Pen(cairo_surface_t *surface, Picture kind) : kind_(kind), context_(cairo_create(surface)) {}

  [[nodiscard]] cairo_t *get() const { return context_.get(); }
  void use(const Colour &colour, double opacity = 1) const {
    cairo_set_source_rgba(get(), colour.red, colour.green, colour.blue, opacity);
  }
  void fillRectangle(double left, double top, double right, double bottom) const {
    cairo_rectangle(get(), left, top, right - left, bottom - top);
    cairo_fill(get());
  }
  void line(double fromX, double fromY, double toX, double toY) const {
    cairo_move_to(get(), fromX, fromY);
    cairo_line_to(get(), toX, toY);
    cairo_stroke(get());
  }
  /// Writes in ink. The texts are our own and have nothing to escape.
  void text(double x, double y, Anchor anchor, double size, const std::string &words) {
    if (kind_ == Picture::kSvg) {
      std::array<char, 128> start{};
      std::snprintf(start.data(), start.size(), R"(<text x="%.1f" y="%.1f" font-size="%.0f" text-anchor="%s">)", x, y,
                    size, kAnchors[static_cast<std::size_t>(anchor)]);
      texts_ += start.data() + words + "</text>\n";
      return;
    }
    use(kInk);
    cairo_select_font_face(get(), "@cairo:", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
    cairo_set_font_size(get(), size);
    cairo_text_extents_t extents{};
    cairo_text_extents(get(), words.c_str(), &extents);
    cairo_move_to(get(), x - extents.x_advance * static_cast<double>(anchor) / 2, y);
    cairo_show_text(get(), words.c_str());
  }
  [[nodiscard]] const std::string &texts() const { return texts_; }

 private:
  Picture kind_;
  std::unique_ptr<cairo_t, FreeContext> context_;
  std::string texts_;
};

/// One panel's place on the paper.
class PanelDrawing {
 public:
  PanelDrawing(Pen &pen, const Chart &chart, std::size_t number, const char *average)
      : pen_(pen),
        chart_(chart),
        average_(average),
        panel_(chart.panels[number]),
        colour_(kSeries[number]),
        top_(kPanelTops[number]) {}

  void draw() {
    drawGaps();
    drawAxes();
    for (const auto &run : panel_.runs) {
      drawBand(run);
    }
    for (const auto &run : panel_.runs) {
      drawAverage(run);
    }
    drawHeading();
  }

 private:
  [[nodiscard]] double bottom() const { return top_ + kPanelHeight; }
  [[nodiscard]] double x(double time) const {
    const auto from = static_cast<double>(chart_.from);
    return kLeft + (time - from) * (kRight - kLeft) / (static_cast<double>(chart_.to) - from);
  }
  [[nodiscard]] double y(double value) const {
    return bottom() - (value - panel_.low) * kPanelHeight / (panel_.high - panel_.low);
  }

  /// On an axis of a year a gap of hours still shows as a line.
  void drawGaps() {
    pen_.use(kGap);
    for (const auto &[from, to] : chart_.gaps) {
      const double left = x(static_cast<double>(from));
      pen_.fillRectangle(left, top_, std::max(x(static_cast<double>(to)), left + 1), bottom());
    }
  }

  void drawAxes() {
    cairo_set_line_width(pen_.get(), 1);
    for (int value = panel_.low; value <= panel_.high; value += panel_.step) {
      pen_.use(kGrid);
      pen_.line(kLeft, y(value), kRight, y(value));
      pen_.text(kLeft - 10, y(value) + kTextSize / 3, Anchor::kEnd, kTextSize, std::to_string(value));
    }
    for (const Tick &tick : chart_.ticks) {
      const double at = x(static_cast<double>(tick.time));
      pen_.use(kGrid);
      pen_.line(at, top_, at, bottom() + 5);
      pen_.text(at, bottom() + 20, Anchor::kMiddle, kTextSize, tick.label);
      if (!tick.date.empty()) {
        pen_.text(at, bottom() + 38, Anchor::kMiddle, kTextSize, tick.date);
      }
    }
    pen_.use(kInk);
    pen_.line(kLeft, top_, kLeft, bottom());
    pen_.line(kLeft, bottom(), kRight, bottom());
  }

  /// Along the maxima and back along the minima. One point alone gets a stroke's width.
  void drawBand(const std::vector<Point> &run) {
    const double half = run.size() == 1 ? 1.5 : 0;
    cairo_move_to(pen_.get(), x(run.front().time) - half, y(run.front().maximum));
    for (const Point &point : run) {
      cairo_line_to(pen_.get(), x(point.time) + half, y(point.maximum));
    }
    std::for_each(run.rbegin(), run.rend(),
                  [&](const Point &point) { cairo_line_to(pen_.get(), x(point.time) + half, y(point.minimum)); });
    cairo_line_to(pen_.get(), x(run.front().time) - half, y(run.front().minimum));
    cairo_close_path(pen_.get());
    pen_.use(colour_, kBandOpacity);
    cairo_fill(pen_.get());
  }

  void drawAverage(const std::vector<Point> &run) {
    pen_.use(colour_);
    if (run.size() == 1) {
      cairo_arc(pen_.get(), x(run.front().time), y(run.front().average), 2, 0, 2 * M_PI);
      cairo_fill(pen_.get());
      return;
    }
    for (const Point &point : run) {
      cairo_line_to(pen_.get(), x(point.time), y(point.average));
    }
    cairo_set_line_width(pen_.get(), 1.5);
    cairo_stroke(pen_.get());
  }

  /// The sensor's name and what the colours mean.
  void drawHeading() {
    const double line = top_ - 12;
    const double middle = line - kTextSize / 3;
    pen_.text(kLeft, line, Anchor::kStart, kTextSize, std::string("Sensor ") + panel_.sensor);
    pen_.use(colour_);
    cairo_set_line_width(pen_.get(), 3);
    pen_.line(kRight - 515, middle, kRight - 490, middle);
    pen_.text(kRight - 482, line, Anchor::kStart, kTextSize, average_);
    pen_.use(colour_, kBandOpacity);
    pen_.fillRectangle(kRight - 340, middle - 6, kRight - 315, middle + 6);
    pen_.text(kRight - 307, line, Anchor::kStart, kTextSize, "minimum to maximum");
    pen_.use(kGap);
    pen_.fillRectangle(kRight - 120, middle - 6, kRight - 95, middle + 6);
    pen_.text(kRight, line, Anchor::kEnd, kTextSize, "no records");
  }

  Pen &pen_;
  const Chart &chart_;
  const char *average_;
  const Panel &panel_;
  Colour colour_;
  double top_;
};

void draw(Pen &pen, const Chart &chart, bool isDaily) {
  pen.use(kPaper);
  cairo_paint(pen.get());
  pen.text(kLeft, 40, Anchor::kStart, kTitleSize, "Sensor history, " + chart.title);
  for (std::size_t i = 0; i < chart.panels.size(); ++i) {
    PanelDrawing(pen, chart, i, isDaily ? "daily average" : "hourly average").draw();
  }
}

cairo_status_t append(void *file, const unsigned char *bytes, unsigned length) {
  static_cast<std::string *>(file)->append(reinterpret_cast<const char *>(bytes), length);
  return CAIRO_STATUS_SUCCESS;
}

void require(cairo_status_t status) {
  if (status != CAIRO_STATUS_SUCCESS) {
    throw Failure(kInaccessible, std::string("cannot draw: ") + cairo_status_to_string(status));
  }
}

std::string drawSvg(const Chart &chart, bool isDaily) {
  std::string file;
  const Surface surface(cairo_svg_surface_create_for_stream(append, &file, kWidth, kHeight));
  Pen pen(surface.get(), Picture::kSvg);
  draw(pen, chart, isDaily);
  cairo_surface_finish(surface.get());
  require(cairo_surface_status(surface.get()));
  const std::string style = "<g font-family=\"sans-serif\" fill=\"#333333\">\n";
  file.insert(file.rfind("</svg>"), style + pen.texts() + "</g>\n");
  file.insert(file.find('>', file.find("<svg")) + 1, "\n<title>Sensor history, " + chart.title + "</title>");
  return file;
}

std::string drawPng(const Chart &chart, bool isDaily) {
  std::string file;
  const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(kWidth * kPngScale),
                                                   static_cast<int>(kHeight * kPngScale)));
  cairo_surface_set_device_scale(surface.get(), kPngScale, kPngScale);
  Pen pen(surface.get(), Picture::kPng);
  draw(pen, chart, isDaily);
  require(cairo_surface_write_to_png_stream(surface.get(), append, &file));
  return file;
}

}  // namespace

std::string drawPicture(Picture kind, std::span<const Record> records, std::int64_t from, std::int64_t to, bool utc) {
  const bool isDaily = to - from > kMostHours * kHour;
  const Chart chart = layOut(records, from, to, utc, {isDaily ? kDay : 1, kTimeTicks, kValueSteps});
  return kind == Picture::kSvg ? drawSvg(chart, isDaily) : drawPng(chart, isDaily);
}

}  // namespace vexora::tool::history
