#include "shell/console_input.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "base/interrupt.h"

namespace qvtx {

namespace {

constexpr std::size_t block_bytes = 4096;

}  // namespace

ConsoleInput::ConsoleInput(std::string first)
    : bytes_(std::move(first)), terminal_(::isatty(STDIN_FILENO) != 0) {
  setg(bytes_.data(), bytes_.data(), bytes_.data() + bytes_.size());
}

ConsoleInput::int_type ConsoleInput::underflow() {
  bytes_.resize(block_bytes);
  ssize_t got = -1;
  do {
    if (!wait_for_input(STDIN_FILENO)) break;
    got = ::read(STDIN_FILENO, bytes_.data(), bytes_.size());
  } while (got < 0 && errno == EINTR);
  if (got <= 0) return traits_type::eof();
  setg(bytes_.data(), bytes_.data(), bytes_.data() + got);
  return traits_type::to_int_type(bytes_.front());
}

}  // namespace qvtx
