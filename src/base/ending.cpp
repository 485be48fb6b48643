#include "base/ending.h"

#include <utility>

namespace qvtx {

namespace {

std::function<void()> last_action;

}  // namespace

void set_last_action(std::function<void()> action) { last_action = std::move(action); }

void run_last_action() {
  const std::function<void()> action = std::exchange(last_action, nullptr);
  if (action) action();
}

}  // namespace qvtx
