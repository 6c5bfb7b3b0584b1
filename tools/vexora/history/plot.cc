// SPDX-License-Identifier: Apache-2.0
//
// Draws SVG and PNG alike, except for text: cairo would turn an SVG's letters into outlines, so they are written as
// <text> elements, which can be searched and read aloud. A PNG uses the machine's fonts or else cairo's built-in one.

#include "history/plot.h"

#include <cairo-svg.h>
#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "history/chart.h"

namespace vexora::tool::history {
namespace {

constexpr double kLeft = 80;
constexpr double kMargin = 60;
constexpr double kTop = 85;            // below the title and the legend
constexpr double kHeadingHeight = 40;  // above a panel
constexpr double kTicksHeight = 55;    // below
constexpr double kTextSize = 14;
constexpr double kTitleSize = 18;
constexpr double kLetter = 0.6;  // a letter's largest width, as a fraction of its height
constexpr double kSwatch = 25;
constexpr double kPngScale = 2;  // for sharp lines on today's screens
constexpr int kTickDistance = 110;
constexpr int kValueHeight = 45;
// More hours than this are too close to be distinguished: then a point is a day.
constexpr std::int64_t kMaxHours = 1000;

struct Colour {
  double red;
  double green;
  double blue;
};
constexpr Colour kPaper{1, 1, 1};
constexpr Colour kInk{0.2, 0.2, 0.2};
constexpr Colour kGrid{0.85, 0.85, 0.85};
constexpr Colour kGap{0.95, 0.93, 0.8};
constexpr Colour kLeftOut{0.95, 0.7, 0.7};
constexpr Colour kHistories[] = {{0.1, 0.35, 0.7}, {0.8, 0.3, 0.1}};
constexpr double kBandOpacity = 0.3;

enum class Anchor { kStart, kMiddle, kEnd };
constexpr const char *kAnchors[] = {"start", "middle", "end"};

class Pen {
 public:
  Pen(cairo_surface_t *surface, Picture kind) : kind_(kind), context_(cairo_create(surface), cairo_destroy) {}

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
  /// Always in the colour kInk.
  void text(double x, double y, Anchor anchor, double size, const std::string &words) {
    if (kind_ == Picture::kSvg) {
      texts_ += format(R"(<text x="%.1f" y="%.1f" font-size="%.0f" text-anchor="%s">)", x, y, size,
                       kAnchors[static_cast<std::size_t>(anchor)]) +
                escaped(words) + "</text>\n";
      return;
    }
    use(kInk);
    cairo_select_font_face(get(), "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(get(), size);
    cairo_text_extents_t extents{};
    cairo_text_extents(get(), words.c_str(), &extents);
    cairo_move_to(get(), x - extents.x_advance * static_cast<double>(anchor) / 2, y);
    cairo_show_text(get(), words.c_str());
  }
  [[nodiscard]] const std::string &texts() const { return texts_; }

 private:
  Picture kind_;
  std::unique_ptr<cairo_t, decltype(&cairo_destroy)> context_;
  std::string texts_;
};

/// Draws the mark of a cut axis: two lines with paper between them.
void drawCut(const Pen &pen, double left, double right, double top, double bottom) {
  pen.use(kPaper);
  pen.fillRectangle(left, top, right, bottom + 1);
  pen.use(kInk);
  cairo_set_line_width(pen.get(), 1);
  pen.line(left, bottom, left, top);
  pen.line(right, bottom, right, top);
}

/// Draws a panel at its place.
struct PanelDrawing {
  Pen &pen;
  const Chart &chart;
  const Panel &panel;
  double top;
  double bottom;
  double right;

  void draw() {
    drawStripes();
    drawAxes();
    for (std::size_t i = panel.histories.size(); i-- > 0;) {  // the first history covers the second
      for (const auto &run : panel.histories[i]) {
        drawBand(run, kHistories[i]);
      }
      for (const auto &run : panel.histories[i]) {
        drawAverage(run, kHistories[i]);
      }
    }
    pen.text(kLeft, top - 20, Anchor::kStart, kTextSize, panel.heading);
  }

  [[nodiscard]] double x(double at) const { return kLeft + at * (right - kLeft); }
  [[nodiscard]] double y(double value) const {
    return bottom - (value - panel.low) * (bottom - top) / (panel.high - panel.low);
  }

  /// A stripe is at least a line wide: otherwise a gap of hours is invisible on an axis of a year.
  void drawStripes() {
    for (const Stripe &stripe : chart.stripes) {
      if (stripe.kind != Mark::kStep) {
        pen.use(stripe.kind == Mark::kGap ? kGap : kLeftOut);
        pen.fillRectangle(x(stripe.from), top, std::max(x(stripe.to), x(stripe.from) + 1), bottom);
      }
    }
  }

  void drawAxes() {
    cairo_set_line_width(pen.get(), 1);
    for (int value = panel.low; value <= panel.high; value += panel.step) {
      pen.use(kGrid);
      pen.line(kLeft, y(value), right, y(value));
      pen.text(kLeft - 10, y(value) + kTextSize / 3, Anchor::kEnd, kTextSize, std::to_string(value));
    }
    double end = 0;  // of the previous label
    for (const Tick &tick : chart.ticks) {
      pen.use(kGrid);
      pen.line(x(tick.at), top, x(tick.at), bottom + 5);
      const double half = static_cast<double>(std::max(tick.label.size(), tick.date.size())) * kTextSize * kLetter / 2;
      if (x(tick.at) - half > end) {
        pen.text(x(tick.at), bottom + 20, Anchor::kMiddle, kTextSize, tick.label);
        pen.text(x(tick.at), bottom + 38, Anchor::kMiddle, kTextSize, tick.date);
        end = x(tick.at) + half;
      }
    }
    pen.use(kInk);
    pen.line(kLeft, top, kLeft, bottom);
    pen.line(kLeft, bottom, right, bottom);
    for (const Stripe &stripe : chart.stripes) {
      if (stripe.kind == Mark::kStep) {
        drawCut(pen, x(stripe.from), x(stripe.to), top - 1, bottom);
        pen.text(x((stripe.from + stripe.to) / 2), top - 4, Anchor::kMiddle, kTextSize - 2,
                 stripe.seconds < 0 ? "set back" : "set forward");
      }
    }
  }

  /// Follows the maxima and returns along the minima. A single point gets a line's width.
  void drawBand(const std::vector<Point> &run, const Colour &colour) const {
    const double half = run.size() == 1 ? 1.5 : 0;
    cairo_move_to(pen.get(), x(run.front().at) - half, y(run.front().maximum));
    for (const Point &point : run) {
      cairo_line_to(pen.get(), x(point.at) + half, y(point.maximum));
    }
    std::for_each(run.rbegin(), run.rend(),
                  [&](const Point &point) { cairo_line_to(pen.get(), x(point.at) + half, y(point.minimum)); });
    cairo_line_to(pen.get(), x(run.front().at) - half, y(run.front().minimum));
    cairo_close_path(pen.get());
    pen.use(colour, kBandOpacity);
    cairo_fill(pen.get());
  }

  void drawAverage(const std::vector<Point> &run, const Colour &colour) const {
    pen.use(colour);
    if (run.size() == 1) {
      cairo_arc(pen.get(), x(run.front().at), y(run.front().average), 2, 0, 2 * M_PI);
      cairo_fill(pen.get());
      return;
    }
    for (const Point &point : run) {
      cairo_line_to(pen.get(), x(point.at), y(point.average));
    }
    cairo_set_line_width(pen.get(), 1.5);
    cairo_stroke(pen.get());
  }
};

void drawMark(const Pen &pen, const Mark &mark, double left, double middle) {
  const double right = left + kSwatch;
  if (mark.kind == Mark::kStep) {
    drawCut(pen, left + kSwatch / 4, right - kSwatch / 4, middle - 6, middle + 6);
    return;
  }
  const Colour colours[] = {kHistories[mark.history], kHistories[mark.history], kGap, kLeftOut};
  const double half = mark.kind == Mark::kAverage ? 1.5 : 6;
  pen.use(colours[mark.kind], mark.kind == Mark::kBand ? kBandOpacity : 1);
  pen.fillRectangle(left, middle - half, right, middle + half);
}

void draw(Pen &pen, const Chart &chart, const Size &size) {
  pen.use(kPaper);
  cairo_paint(pen.get());
  pen.text(kLeft, 34, Anchor::kStart, kTitleSize, chart.name);
  pen.text(kLeft, 56, Anchor::kStart, kTextSize, chart.range);
  double left = kLeft;
  for (const Mark &mark : chart.legend) {
    drawMark(pen, mark, left, 75 - kTextSize / 3);
    pen.text(left + kSwatch + 8, 75, Anchor::kStart, kTextSize, mark.meaning);
    left += kSwatch + 30 + static_cast<double>(mark.meaning.size()) * kTextSize * kLetter;
  }
  const double height = (size.height - kTop) / static_cast<double>(chart.panels.size());
  double top = kTop;
  for (const Panel &panel : chart.panels) {
    PanelDrawing{pen, chart, panel, top + kHeadingHeight, top + height - kTicksHeight, size.width - kMargin}.draw();
    top += height;
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

}  // namespace

std::string drawPicture(Picture kind, std::span<const Selection> histories, std::span<const Heading> headings,
                        const Size &size) {
  const auto panelHeight = static_cast<int>((size.height - kTop) / static_cast<double>(headings.size()));
  const Chart chart = layOut(
      histories, headings, {kMaxHours, true, static_cast<int>(size.width) / kTickDistance, panelHeight / kValueHeight});
  std::string file;
  const auto scaled = [](unsigned side) { return static_cast<int>(side * kPngScale); };
  const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
      kind == Picture::kSvg ? cairo_svg_surface_create_for_stream(append, &file, size.width, size.height)
                            : cairo_image_surface_create(CAIRO_FORMAT_RGB24, scaled(size.width), scaled(size.height)),
      cairo_surface_destroy);
  Pen pen(surface.get(), kind);
  if (kind == Picture::kPng) {
    cairo_scale(pen.get(), kPngScale, kPngScale);
    draw(pen, chart, size);
    require(cairo_surface_write_to_png_stream(surface.get(), append, &file));
    return file;
  }
  draw(pen, chart, size);
  cairo_surface_finish(surface.get());
  require(cairo_surface_status(surface.get()));
  file.insert(file.rfind("</svg>"), "<g font-family=\"sans-serif\" fill=\"#333333\">\n" + pen.texts() + "</g>\n");
  return file.insert(file.find('>', file.find("<svg")) + 1,
                     "\n<title>" + escaped(chart.name + ", " + chart.range) + "</title>");
}

}  // namespace vexora::tool::history
