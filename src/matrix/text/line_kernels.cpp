// A piece of 64 characters becomes sets of positions, a bit each: gaps, line ends, digits, points. Additions
// with carries find from them, for all numbers of the piece at once, where each begins, has its point and
// ends, and which ones open a line (as D. Lemire and G. Langdale, "Parsing gigabytes of JSON per second",
// 2019, find strings). The digits of a number are then two groups of eight in one register, with neither a
// loop nor a branch that depends on the layout.

#include "matrix/text/line_kernels.h"

#include <cstdint>

#include "base/vector_lanes.h"
#include "matrix/text/number_scanner.h"

namespace qvtx::QVTX_ISA {
namespace {

#if defined(__SSE2__)

/// Positions in a piece, the first one in the lowest bit.
using Positions = std::uint64_t;

int lowest(Positions set) { return __builtin_ctzll(set); }
Positions without_lowest(Positions set) { return set & (set - 1); }
int count(Positions set) { return __builtin_popcountll(set); }
/// Of each position in `starts` the first one from there on that is not in `run`.
Positions behind(Positions starts, Positions run) { return (starts + run) & ~run; }

// ---- Kinds of characters ----

typedef unsigned char Bytes __attribute__((vector_size(register_bytes)));
typedef unsigned char LooseBytes __attribute__((vector_size(register_bytes), aligned(1), may_alias));

#if defined(__AVX512F__)
typedef __mmask64 Found;
Found equal(Bytes text, char c) { return _mm512_cmpeq_epi8_mask((__m512i)text, _mm512_set1_epi8(c)); }
Found digits(Bytes text) { return _mm512_cmplt_epu8_mask((__m512i)(text - '0'), _mm512_set1_epi8(10)); }
Positions positions(Found found) { return found; }
#else
typedef signed char Found __attribute__((vector_size(register_bytes)));
Found equal(Bytes text, char c) { return text == static_cast<unsigned char>(c); }
Found digits(Bytes text) { return text - '0' < 10; }
#if defined(__AVX2__)
Positions positions(Found found) { return static_cast<unsigned>(_mm256_movemask_epi8((__m256i)found)); }
#else
Positions positions(Found found) { return static_cast<unsigned>(_mm_movemask_epi8((__m128i)found)); }
#endif
#endif

struct Piece {
  Positions blank = 0, line_end = 0, digit = 0, point = 0, sign = 0;

  explicit Piece(const char* text) {
    for (int k = 0; k < line_piece; k += register_bytes) {
      const Bytes bytes = *reinterpret_cast<const LooseBytes*>(text + k);
      blank |= positions(equal(bytes, ' ') | equal(bytes, '\t')) << k;
      line_end |= positions(equal(bytes, '\n') | equal(bytes, '\r')) << k;
      digit |= positions(digits(bytes)) << k;
      point |= positions(equal(bytes, '.')) << k;
      sign |= positions(equal(bytes, '-') | equal(bytes, '+')) << k;
    }
  }
};

/// Where "e" or "E" stands in a piece.
Positions exponent_marks(const char* text) {
  Positions marks = 0;
  for (int k = 0; k < line_piece; k += register_bytes) {
    const Bytes bytes = *reinterpret_cast<const LooseBytes*>(text + k);
    marks |= positions(equal(bytes, 'e') | equal(bytes, 'E')) << k;
  }
  return marks;
}

/// The words of a piece, what stands between gaps. The last character counts to a word whose end is not in
/// sight, and which the next piece begins with.
struct Words {
  Positions gap;     ///< without the last character
  int length;        ///< characters up to the end of the last gap; 0 when there is none
  Positions whole;   ///< the positions of these
  Positions starts;  ///< of the words that are complete
  Positions opened;  ///< where a gap with a line end ends

  Words(const Piece& piece, bool line_end_before) : gap((piece.blank | piece.line_end) << 1 >> 1) {
    length = gap == 0 ? 0 : 64 - __builtin_clzll(gap);
    whole = (Positions{1} << length) - 1;
    starts = ~gap & (gap << 1 | 1) & whole;
    // Any line end in a gap carries to the position behind the gap, and no farther.
    opened = (gap + (piece.line_end & gap) + line_end_before) & ~gap;
  }
};

/// The place behind the words, when line ends stand where they shall: behind full rows.
bool follow_lines(const Words& words, RowPlace& place) {
  int before = 0;
  for (Positions opened = words.opened & words.whole; opened != 0; opened = without_lowest(opened)) {
    const int here = count(words.starts & ((opened & -opened) - 1));
    if (place.column + here - before != place.columns) return false;
    place.column = 0;
    before = here;
  }
  place.column += count(words.starts) - before;
  place.line_end = (words.opened >> words.length & 1) != 0;
  return place.column <= place.columns && (!place.line_end || place.column == place.columns);
}

// ---- Numbers ----

constexpr int group = 8;  ///< digits that are converted together

/// From place n on: a group or two of them whose last n bytes are ones.
constexpr struct Masks {
  unsigned char ones[4 * group] = {};
  constexpr Masks() {
    for (int k = 2 * group; k < 4 * group; ++k) ones[k] = 0xff;
  }
} masks;

/// 10^decimals by the length of the fraction with its point, then the same with a minus: the quotient takes
/// its sign.
constexpr double scales[2][group + 1] = {{1e0, 1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7},
                                         {-1e0, -1e0, -1e1, -1e2, -1e3, -1e4, -1e5, -1e6, -1e7}};

template <class Bytes8>
long long group_at(const Bytes8* text) {
  long long characters;
  __builtin_memcpy(&characters, text, sizeof characters);
  return characters;
}

/// The two groups of digits in `text` that `mask` tells as integers in the lowest two of four.
__m128i integers(__m128i text, __m128i mask) {
  __m128i x = _mm_and_si128(_mm_sub_epi8(text, _mm_set1_epi8('0')), mask);
#if defined(__SSSE3__)
  x = _mm_maddubs_epi16(x, _mm_set1_epi16(0x010a));
#else
  const __m128i tens = _mm_and_si128(x, _mm_set1_epi16(0xff));
  x = _mm_add_epi16(_mm_mullo_epi16(tens, _mm_set1_epi16(10)), _mm_srli_epi16(x, 8));
#endif
  x = _mm_madd_epi16(x, _mm_set1_epi32(0x00010064));
  return _mm_madd_epi16(_mm_packs_epi32(x, x), _mm_set1_epi32(0x00012710));
}

/// The number with its point at `point` and its end at `end`, `before` digits before the one and `tail`
/// characters from there to the other. Its 15 digits make an integer below 2^53, so that the quotient is the
/// only operation that rounds.
double short_decimal(const char* point, const char* end, unsigned before, unsigned tail, bool negative) {
  const unsigned decimals = tail - (tail > 0);
  const __m128i text = _mm_set_epi64x(group_at(end - group), group_at(point - group));
  const unsigned char* const ones = masks.ones + group;
  const __m128i mask = _mm_set_epi64x(group_at(ones + decimals), group_at(ones + before));
  const __m128d parts = _mm_cvtepi32_pd(integers(text, mask));
  const double integer = parts[0] * scales[0][tail] + parts[1];
  return integer / scales[negative][tail];
}

/// The last n digits ahead of `end`. REQUIRES: n <= 16.
std::uint64_t long_integer(const char* end, unsigned n) {
  const auto* const text = reinterpret_cast<const __m128i*>(end - 2 * group);
  const auto* const mask = reinterpret_cast<const __m128i*>(masks.ones + n);
  const long long both = _mm_cvtsi128_si64(integers(_mm_loadu_si128(text), _mm_loadu_si128(mask)));
  return static_cast<std::uint64_t>(both & 0xffffffff) * 100000000 + static_cast<std::uint64_t>(both >> 32);
}

constexpr struct Powers {
  std::uint64_t of_ten[20] = {1};
  constexpr Powers() {
    for (int k = 1; k < 20; ++k) of_ten[k] = 10 * of_ten[k - 1];
  }
} powers;

/// A number as its parts stand in the text: digits from `start`, the point or the end of the digits, the end
/// of the fraction. A sign stands ahead of `start`, or a gap.
struct Parts {
  const char* start;
  const char* point;
  const char* end;
};

/// The same with more digits or with an exponent; false for a number that is too large.
bool long_decimal(const Parts& p, long exponent, double& value) {
  constexpr unsigned most = 2 * group;
  const bool negative = p.start[-1] == '-';
  const auto before = static_cast<unsigned>(p.point - p.start);
  const auto decimals = static_cast<unsigned>(p.end - p.point - (p.end > p.point));
  if (before <= most && before + decimals <= 19) {
    const unsigned last = decimals < most ? decimals : most;
    std::uint64_t mantissa =
        long_integer(p.end, last) + long_integer(p.point, before) * powers.of_ten[decimals];
    if (last < decimals) mantissa += long_integer(p.end - most, decimals - last) * powers.of_ten[most];
    if (convert_decimal(mantissa, exponent - static_cast<long>(decimals), value)) {
      if (negative) value = -value;
      return true;
    }
  }
  const ScannedNumber scanned = scan_number(p.start - (negative || p.start[-1] == '+'));
  value = scanned.value;
  return scanned.valid;
}

/// The numbers of a piece: what begins where the digits do, and ends behind the last of them.
struct Numbers {
  Positions starts, points, ends;
  bool sound;  ///< each begins its word, behind a sign or none, and has at most one point

  Numbers(const Piece& piece, const Words& words) {
    const Positions decimal = piece.digit | piece.point, signs = words.starts & piece.sign;
    starts = words.starts ^ signs ^ signs << 1;
    points = behind(starts, piece.digit);
    ends = behind(starts, decimal);
    const Positions second_point = behind(piece.point << 1, piece.digit) & piece.point;
    const Positions lone_point = piece.point & ~(piece.digit << 1) & ~(piece.digit >> 1);
    sound = (((starts & ~decimal) | second_point | lone_point) & words.whole) == 0;
  }

  bool left() const { return starts != 0; }
  Parts take(const char* text) {
    const Parts parts = {text + lowest(starts), text + lowest(points), text + lowest(ends)};
    starts = without_lowest(starts);
    points = without_lowest(points);
    ends = without_lowest(ends);
    return parts;
  }
};

/// Numbers that end with their words. False when one of them is too large.
bool read_decimals(const char* text, Numbers all, double* numbers) {
  while (all.left()) {
    const Parts p = all.take(text);
    const auto before = static_cast<unsigned>(p.point - p.start);
    const auto tail = static_cast<unsigned>(p.end - p.point);
    if (before <= group && tail <= group) {
      *numbers++ = short_decimal(p.point, p.end, before, tail, p.start[-1] == '-');
    } else if (!long_decimal(p, 0, *numbers++)) {
      return false;
    }
  }
  return true;
}

/// Whether the numbers that do not end with their words have an exponent that does.
bool exponents_follow(const char* text, const Piece& piece, const Words& words, const Numbers& all) {
  const Positions marked = all.ends & ~words.gap;
  const Positions signs = marked << 1 & piece.sign;
  const Positions digits = marked << 1 ^ signs ^ signs << 1;
  return ((marked & ~exponent_marks(text)) | (digits & ~piece.digit) |
          (behind(digits, piece.digit) & ~words.gap)) == 0;
}

/// Numbers with such exponents, and others. False when one of them is too large.
bool read_scientific(const char* text, Numbers all, double* numbers) {
  constexpr long most = 1 << 16;  // far beyond what a double has
  while (all.left()) {
    const Parts p = all.take(text);
    long exponent = 0;
    if (*p.end == 'e' || *p.end == 'E') {
      const bool negative = p.end[1] == '-';
      for (const char* c = p.end + 1 + (negative || p.end[1] == '+'); *c >= '0' && *c <= '9'; ++c)
        exponent = exponent < most ? 10 * exponent + (*c - '0') : most;
      exponent = negative ? -exponent : exponent;
    }
    if (!long_decimal(p, exponent, *numbers++)) return false;
  }
  return true;
}

long read(const char*& text, const char* end, RowPlace& place, double* numbers, long most) {
  long done = 0;
  while (end - text >= line_piece) {
    const Piece piece(text);
    const Words words(piece, place.line_end);
    RowPlace next = place;
    if (words.length == 0 || count(words.starts) > most - done) break;
    const Numbers all(piece, words);
    if (!all.sound || !follow_lines(words, next)) break;
    if ((all.ends & ~words.gap) == 0) {
      if (!read_decimals(text, all, numbers + done)) break;
    } else if (!exponents_follow(text, piece, words, all) || !read_scientific(text, all, numbers + done)) {
      break;
    }
    done += count(words.starts);
    text += words.length;
    place = next;
  }
  return done;
}

#else

/// Leaves everything to the caller.
long read(const char*&, const char*, RowPlace&, double*, long) { return 0; }

#endif

}  // namespace

const LineKernels line_kernels = {read};

}  // namespace qvtx::QVTX_ISA
