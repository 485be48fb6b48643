#include "shell/console_input.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "base/interrupt.h"
#include "base/prompts.h"

namespace qvtx {

namespace {

constexpr std::size_t block_bytes = 4096;

}  // namespace

ConsoleInput::ConsoleInput(std::string first, std::unique_ptr<LineEditor> editor)
    : bytes_(std::move(first)), editor_(std::move(editor)), terminal_(::isatty(STDIN_FILENO) != 0) {
  setg(bytes_.data(), bytes_.data(), bytes_.data() + bytes_.size());
}

bool ConsoleInput::read_bytes() {
  bytes_.resize(block_bytes);
  ssize_t got = -1;
  do {
    if (!wait_for_input(STDIN_FILENO)) break;
    got = ::read(STDIN_FILENO, bytes_.data(), bytes_.size());
  } while (got < 0 && errno == EINTR);
  bytes_.resize(static_cast<std::size_t>(got < 0 ? 0 : got));
  return !bytes_.empty();
}

ConsoleInput::int_type ConsoleInput::underflow() {
  if (!(editor_ ? editor_->read(bytes_) : read_bytes())) return traits_type::eof();
  question().text.clear();  // the line has ended
  setg(bytes_.data(), bytes_.data(), bytes_.data() + bytes_.size());
  return traits_type::to_int_type(bytes_.front());
}

}  // namespace qvtx
