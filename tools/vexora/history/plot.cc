// SPDX-License-Identifier: Apache-2.0
//
// One drawing for both kinds of picture. Only text differs: cairo would turn an SVG's letters into outlines, so there
// they are written as text of their own, which can be searched and read aloud. A PNG gets the machine's letters, or
// cairo's built-in ones where there are none.

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

constexpr double kLeft = 80;
constexpr double kMargin = 60;
constexpr double kTop = 85;            // below the title and the legend
constexpr double kHeadingHeight = 32;  // above a panel
constexpr double kTicksHeight = 55;    // below
constexpr double kTextSize = 14;
constexpr double kTitleSize = 18;
constexpr double kLetter = 0.6;  // a letter's width at the most, of its height
constexpr double kSwatch = 25;
constexpr double kPngScale = 2;  // for sharp lines on today's screens
constexpr int kTickWidth = 110;
constexpr int kValueHeight = 45;
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
constexpr Colour kLeftOut{0.95, 0.7, 0.7};
constexpr Colour kHistories[] = {{0.1, 0.35, 0.7}, {0.8, 0.3, 0.1}};
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

/// Names of files and sensors are the user's.
std::string escaped(const std::string &text) {
  std::string escaped;
  for (const char letter : text) {
    escaped += letter == '<' ? "&lt;" : letter == '&' ? "&amp;" : std::string(1, letter);
  }
  return escaped;
}

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
  /// Writes in ink.
  void text(double x, double y, Anchor anchor, double size, const std::string &words) {
    if (kind_ == Picture::kSvg) {
      std::array<char, 128> start{};
      std::snprintf(start.data(), start.size(), R"(<text x="%.1f" y="%.1f" font-size="%.0f" text-anchor="%s">)", x, y,
                    size, kAnchors[static_cast<std::size_t>(anchor)]);
      texts_ += start.data() + escaped(words) + "</text>\n";
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
  std::unique_ptr<cairo_t, FreeContext> context_;
  std::string texts_;
};

/// Two strokes with nothing between them.
void drawCut(const Pen &pen, double left, double right, double top, double bottom) {
  pen.use(kPaper);
  pen.fillRectangle(left, top, right, bottom + 1);
  pen.use(kInk);
  cairo_set_line_width(pen.get(), 1);
  pen.line(left, bottom, left, top);
  pen.line(right, bottom, right, top);
}

/// One panel's place on the paper.
class PanelDrawing {
 public:
  PanelDrawing(Pen &pen, const Chart &chart, const Panel &panel, double top, double bottom, double right)
      : pen_(pen), chart_(chart), panel_(panel), top_(top), bottom_(bottom), right_(right) {}

  void draw() {
    drawStripes();
    drawAxes();
    for (std::size_t i = panel_.histories.size(); i-- > 0;) {  // the first one above the second
      for (const auto &run : panel_.histories[i]) {
        drawBand(run, kHistories[i]);
      }
      for (const auto &run : panel_.histories[i]) {
        drawAverage(run, kHistories[i]);
      }
    }
    pen_.text(kLeft, top_ - 10, Anchor::kStart, kTextSize, panel_.heading);
  }

 private:
  [[nodiscard]] double x(double at) const { return kLeft + at * (right_ - kLeft); }
  [[nodiscard]] double y(double value) const {
    return bottom_ - (value - panel_.low) * (bottom_ - top_) / (panel_.high - panel_.low);
  }

  /// On an axis of a year a gap of hours still shows as a line. Where the clock was set the axis is cut.
  void drawStripes() {
    for (const Stripe &stripe : chart_.stripes) {
      if (stripe.kind == Mark::kStep) {
        pen_.text(x((stripe.from + stripe.to) / 2), top_ - 4, Anchor::kMiddle, kTextSize - 2,
                  stripe.seconds < 0 ? "set back" : "set forward");
        continue;
      }
      pen_.use(stripe.kind == Mark::kGap ? kGap : kLeftOut);
      pen_.fillRectangle(x(stripe.from), top_, std::max(x(stripe.to), x(stripe.from) + 1), bottom_);
    }
  }

  void drawAxes() {
    cairo_set_line_width(pen_.get(), 1);
    for (int value = panel_.low; value <= panel_.high; value += panel_.step) {
      pen_.use(kGrid);
      pen_.line(kLeft, y(value), right_, y(value));
      pen_.text(kLeft - 10, y(value) + kTextSize / 3, Anchor::kEnd, kTextSize, std::to_string(value));
    }
    double end = 0;  // of the label before
    for (const Tick &tick : chart_.ticks) {
      pen_.use(kGrid);
      pen_.line(x(tick.at), top_, x(tick.at), bottom_ + 5);
      const double half = static_cast<double>(std::max(tick.label.size(), tick.date.size())) * kTextSize * kLetter / 2;
      if (x(tick.at) - half > end) {
        pen_.text(x(tick.at), bottom_ + 20, Anchor::kMiddle, kTextSize, tick.label);
        pen_.text(x(tick.at), bottom_ + 38, Anchor::kMiddle, kTextSize, tick.date);
        end = x(tick.at) + half;
      }
    }
    pen_.use(kInk);
    pen_.line(kLeft, top_, kLeft, bottom_);
    pen_.line(kLeft, bottom_, right_, bottom_);
    for (const Stripe &stripe : chart_.stripes) {
      if (stripe.kind == Mark::kStep) {
        drawCut(pen_, x(stripe.from), x(stripe.to), top_ - 1, bottom_);
      }
    }
  }

  /// Along the maxima and back along the minima. One point alone gets a stroke's width.
  void drawBand(const std::vector<Point> &run, const Colour &colour) {
    const double half = run.size() == 1 ? 1.5 : 0;
    cairo_move_to(pen_.get(), x(run.front().at) - half, y(run.front().maximum));
    for (const Point &point : run) {
      cairo_line_to(pen_.get(), x(point.at) + half, y(point.maximum));
    }
    std::for_each(run.rbegin(), run.rend(),
                  [&](const Point &point) { cairo_line_to(pen_.get(), x(point.at) + half, y(point.minimum)); });
    cairo_line_to(pen_.get(), x(run.front().at) - half, y(run.front().minimum));
    cairo_close_path(pen_.get());
    pen_.use(colour, kBandOpacity);
    cairo_fill(pen_.get());
  }

  void drawAverage(const std::vector<Point> &run, const Colour &colour) {
    pen_.use(colour);
    if (run.size() == 1) {
      cairo_arc(pen_.get(), x(run.front().at), y(run.front().average), 2, 0, 2 * M_PI);
      cairo_fill(pen_.get());
      return;
    }
    for (const Point &point : run) {
      cairo_line_to(pen_.get(), x(point.at), y(point.average));
    }
    cairo_set_line_width(pen_.get(), 1.5);
    cairo_stroke(pen_.get());
  }

  Pen &pen_;
  const Chart &chart_;
  const Panel &panel_;
  double top_;
  double bottom_;
  double right_;
};

void drawMark(const Pen &pen, const Mark &mark, double left, double middle) {
  const double right = left + kSwatch;
  switch (mark.kind) {
    case Mark::kAverage:
      pen.use(kHistories[mark.history]);
      cairo_set_line_width(pen.get(), 3);
      pen.line(left, middle, right, middle);
      break;
    case Mark::kStep:
      drawCut(pen, left + kSwatch / 4, right - kSwatch / 4, middle - 6, middle + 6);
      break;
    default:
      pen.use(mark.kind == Mark::kGap       ? kGap
              : mark.kind == Mark::kLeftOut ? kLeftOut
                                            : kHistories[mark.history],
              mark.kind == Mark::kBand ? kBandOpacity : 1);
      pen.fillRectangle(left, middle - 6, right, middle + 6);
  }
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
    PanelDrawing(pen, chart, panel, top + kHeadingHeight, top + height - kTicksHeight, size.width - kMargin).draw();
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

std::string drawSvg(const Chart &chart, const Size &size) {
  std::string file;
  const Surface surface(cairo_svg_surface_create_for_stream(append, &file, size.width, size.height));
  Pen pen(surface.get(), Picture::kSvg);
  draw(pen, chart, size);
  cairo_surface_finish(surface.get());
  require(cairo_surface_status(surface.get()));
  const std::string style = "<g font-family=\"sans-serif\" fill=\"#333333\">\n";
  file.insert(file.rfind("</svg>"), style + pen.texts() + "</g>\n");
  file.insert(file.find('>', file.find("<svg")) + 1,
              "\n<title>" + escaped(chart.name + ", " + chart.range) + "</title>");
  return file;
}

std::string drawPng(const Chart &chart, const Size &size) {
  std::string file;
  const Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, static_cast<int>(size.width * kPngScale),
                                                   static_cast<int>(size.height * kPngScale)));
  cairo_surface_set_device_scale(surface.get(), kPngScale, kPngScale);
  Pen pen(surface.get(), Picture::kPng);
  draw(pen, chart, size);
  require(cairo_surface_write_to_png_stream(surface.get(), append, &file));
  return file;
}

}  // namespace

std::string drawPicture(Picture kind, std::span<const Selection> histories, std::span<const Heading> headings,
                        const Size &size) {
  const ChartSize most{kMostHours, true, static_cast<int>(size.width / kTickWidth),
                       static_cast<int>((size.height - kTop) / static_cast<double>(headings.size())) / kValueHeight};
  const Chart chart = layOut(histories, headings, most);
  return kind == Picture::kSvg ? drawSvg(chart, size) : drawPng(chart, size);
}

}  // namespace vexora::tool::history
