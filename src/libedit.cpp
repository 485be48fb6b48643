// Editing of typed lines by libedit.

#include <histedit.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <cwchar>
#include <iostream>
#include <vector>

#include "base/interrupt.h"
#include "base/prompts.h"
#include "base/terminal.h"
#include "shell/line_editor.h"

#if defined(__SANITIZE_ADDRESS__)
/// The library does not free the name and the help of a function that was added to it.
extern "C" const char* __lsan_default_suppressions() { return "leak:wcsdup"; }
#endif

namespace qvtx {

namespace {

constexpr int most_remembered = 1000;

/// Names of files may have any letters. The editor converts them as the locale says, and without one it is
/// told of loses all that are not ASCII. Nothing else in the program depends on the character set.
void choose_letters() {
  std::setlocale(LC_CTYPE, "");
  if (MB_CUR_MAX == 1) std::setlocale(LC_CTYPE, "C.UTF-8");
}

const char* present_prompt(EditLine*) { return question().text.c_str(); }

/// One character of standard input. The editor's own reading goes on after a signal.
int read_letter(EditLine*, wchar_t* letter) {
  std::mbstate_t state = {};
  for (;;) {
    char byte = 0;
    if (!wait_for_input(STDIN_FILENO)) return -1;
    const ssize_t got = ::read(STDIN_FILENO, &byte, 1);
    if (got <= 0) return static_cast<int>(got);
    const std::size_t used = std::mbrtowc(letter, &byte, 1, &state);
    if (used <= 1) return 1;
    if (used == static_cast<std::size_t>(-1)) state = {};  // no letter of this character set: dropped
  }
}

/// The beginning that all words share.
std::string common_beginning(const std::vector<std::string>& words) {
  std::string common = words.front();
  for (const std::string& word : words) {
    const auto end = std::mismatch(common.begin(), common.end(), word.begin(), word.end()).first;
    common.erase(end, common.end());
  }
  return common;
}

/// Completes the word ahead of the cursor as far as it is certain, then shows what it could become.
unsigned char complete_word(EditLine* editor, int) {
  const LineInfo* const line = el_line(editor);
  const std::string typed(line->buffer, line->cursor);
  const std::string word = typed.substr(typed.find_last_of(" \t") + 1);
  if (!question().complete) return CC_ERROR;
  const std::vector<std::string> words = question().complete(word);
  if (words.empty()) return CC_ERROR;
  const std::string rest = common_beginning(words).substr(word.size());
  if (!rest.empty()) return el_insertstr(editor, rest.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
  if (words.size() == 1) return CC_NORM;
  std::cerr << '\n';
  for (const std::string& choice : words) std::cerr << "  " << choice;
  std::cerr << '\n' << std::flush;
  return CC_REDISPLAY;
}

class Libedit : public LineEditor {
 public:
  Libedit() : editor_(el_init("qvtx", stdin, stderr, stderr)), history_(history_init()) {
    HistEvent event;
    history(history_, &event, H_SETSIZE, most_remembered);
    history(history_, &event, H_SETUNIQUE, 1);
    el_set(editor_, EL_HIST, history, history_);
    el_set(editor_, EL_PROMPT, present_prompt);
    el_set(editor_, EL_GETCFN, read_letter);
    el_set(editor_, EL_EDITOR, "emacs");
    el_set(editor_, EL_ADDFN, "complete", "complete the word", complete_word);
    const char* const keys[][2] = {{"^I", "complete"},
                                   {"^R", "em-inc-search-prev"},
                                   {"\\e[3~", "ed-delete-next-char"},
                                   {"\\e[H", "ed-move-to-beg"},
                                   {"\\e[F", "ed-move-to-end"}};
    for (const auto& [key, action] : keys) el_set(editor_, EL_BIND, key, action, nullptr);
    el_source(editor_, nullptr);
  }
  ~Libedit() override {
    el_end(editor_);
    history_end(history_);
  }
  Libedit(const Libedit&) = delete;
  Libedit& operator=(const Libedit&) = delete;

  bool read(std::string& line) override {
    // Keys reach the editor as soon as the question is seen, not only when it waits for the first one.
    el_set(editor_, EL_PREP_TERM, 1);
    std::cerr << '\r' << std::flush;  // the question stands there; the editor writes it once more
    el_resize(editor_);
    int count = 0;
    const char* const text = el_gets(editor_, &count);
    if (text == nullptr || count <= 0) return false;
    line.assign(text, static_cast<std::size_t>(count));
    if (line.find_first_not_of(" \t\r\n") == std::string::npos) return true;
    HistEvent event;
    history(history_, &event, H_ENTER, line.c_str());
    return true;
  }

 private:
  EditLine* const editor_;
  History* const history_;
};

}  // namespace

std::unique_ptr<LineEditor> open_line_editor() {
  if (!is_screen(STDIN_FILENO) || !is_screen(STDERR_FILENO)) return nullptr;
  choose_letters();
  return std::make_unique<Libedit>();
}

}  // namespace qvtx
