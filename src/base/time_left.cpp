#include "base/time_left.h"

#include <unistd.h>

#include <cmath>
#include <iostream>
#include <memory>
#include <utility>

#include "base/ostr.h"
#include "base/terminal.h"

namespace qvtx {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds patience(2000);
constexpr milliseconds between_lines(1000);
constexpr milliseconds between_drawings(250);

constexpr double minute = 60, hour = 3600;

std::string rounded_up(double x) { return std::to_string(std::lround(std::ceil(x))); }

}  // namespace

Progress time_left_of(std::string what) {
  return [left = std::make_shared<TimeLeft>(TimeLeft::Place::open, std::move(what))](double share) {
    left->tell(share);
  };
}

std::string duration_text(double seconds) {
  if (seconds <= 2 * minute) return rounded_up(seconds) + " s";
  if (seconds <= 2 * hour) return rounded_up(seconds / minute) + " min";
  return rounded_up(seconds / hour) + " h";
}

TimeLeft::TimeLeft(Place place, std::string what)
    : place_(place),
      what_(std::move(what)),
      seen_(is_screen(STDERR_FILENO)),
      begin_(Clock::now()),
      next_(begin_ + patience) {
  // A line that is not on the screen cannot be added to.
  if (seen_ && place_ == Place::line && !is_screen(STDOUT_FILENO)) place_ = Place::open;
}

TimeLeft::~TimeLeft() {
  if (drawn_) draw("");
}

void TimeLeft::tell(double share) {
  if (!seen_ || !(share > 0) || share >= 1) return;
  const Clock::time_point now = Clock::now();
  if (now < next_) return;
  const double elapsed = std::chrono::duration<double>(now - begin_).count();
  const std::string left = duration_text(elapsed * (1 - share) / share) + " left";
  next_ = now + (place_ == Place::line ? between_lines : between_drawings);
  os.flush();
  if (place_ == Place::line) {
    std::cerr << "  " << left << std::flush;
    return;
  }
  draw("  " +
       (place_ == Place::bar ? left : what_ + std::to_string(std::lround(100 * share)) + " %, " + left));
  drawn_ = true;
}

/// Writes the text and erases what stood behind it; the cursor stays where the console left it. A text that
/// reaches the end of the screen must not scroll it.
void TimeLeft::draw(const std::string& text) const {
  os.flush();
  std::cerr << "\x1b"
               "7\x1b[?7l";
  if (place_ == Place::bar) std::cerr << "\x1b[" << os.depth * os.step + os.span + 1 << 'G';
  std::cerr << text
            << "\x1b[K\x1b[?7h\x1b"
               "8"
            << std::flush;
}

}  // namespace qvtx
