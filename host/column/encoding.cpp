#include "mipo/host/encoding.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

struct Widths {
  bool (*contain)(int bits);
  std::string_view text;
};
constexpr Widths code_widths = {
    [](int bits) { return (bits >= 1 && bits <= 20) || bits == 24 || bits == 32 || bits == 64; },
    "1 to 20, 24, 32 and 64"};
constexpr Widths byte_widths = {[](int bits) { return bits >= 8 && bits <= 64 && bits % 8 == 0; },
                                "8, 16, 24 and so on to 64"};
constexpr Widths lane_widths = {[](int bits) { return bits == 16 || bits == 32 || bits == 64; }, "16, 32 and 64"};

struct FormName {
  std::string_view name;
  ValueForm form;
  Widths widths;
};
constexpr FormName form_names[] = {
    {"dict", ValueForm::dictionary, code_widths},     {"fixed", ValueForm::fixed, byte_widths},
    {"tz", ValueForm::trailing_zero, byte_widths},    {"tz-const", ValueForm::trailing_zero_const, byte_widths},
    {"dynp", ValueForm::dynamic_packed, lane_widths}, {"dynp-tz", ValueForm::dynamic_packed_tz, lane_widths}};

// The first name of a form is the one it is printed by.
struct RunName {
  std::string_view name;
  RunForm form;
};
constexpr RunName run_names[] = {{"runs8", RunForm::lengths_8},
                                 {"runs16", RunForm::lengths_16},
                                 {"starts", RunForm::starts},
                                 {"runs", RunForm::lengths_8}};
constexpr std::string_view compressed_name = "zstd";

const FormName &describe(ValueForm form) {
  return *std::ranges::find(form_names, form, &FormName::form);
}

[[noreturn]] void fail(std::string_view text, const std::string &problem) {
  std::string message = "'";
  message.append(text).append("' is no encoding: ").append(problem).append("; an encoding is one of ");
  for (const FormName &known : form_names) message.append(known.name).append(", ");
  message += "then perhaps a width in bits (dict:13), +runs8, +runs16 or +starts, and +zstd";
  throw EncodingError(message);
}

// Cuts off and returns what stands before the separator.
std::string_view take_until(std::string_view &text, char separator) {
  const std::size_t end = text.find(separator);
  const std::string_view head = text.substr(0, end);
  text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  return head;
}

} // namespace

void check_width(const Encoding &encoding) {
  const FormName &form = describe(encoding.form);
  if (encoding.bits == 0 || form.widths.contain(encoding.bits)) return;
  std::string message(form.name);
  message.append(" of ")
      .append(std::to_string(encoding.bits))
      .append(" bits: the widths are ")
      .append(form.widths.text);
  throw EncodingError(message);
}

Encoding parse_encoding(std::string_view text) {
  std::string_view rest = text;
  std::string_view bits = take_until(rest, '+');
  const bool has_bits = bits.find(':') != std::string_view::npos;
  const std::string_view name = take_until(bits, ':');
  const FormName *const form = std::ranges::find(form_names, name, &FormName::name);
  if (form == std::end(form_names)) fail(text, std::string("there is no form '").append(name).append("'"));
  Encoding encoding{form->form};
  if (has_bits) {
    const auto [end, error] = std::from_chars(bits.data(), bits.data() + bits.size(), encoding.bits);
    if (error != std::errc{} || end != bits.data() + bits.size() || !form->widths.contain(encoding.bits))
      fail(text, std::string("the widths of ").append(name).append(" are ").append(form->widths.text));
  }
  if (text.back() == '+') fail(text, "nothing follows the last +");
  while (!rest.empty()) {
    const std::string_view part = take_until(rest, '+');
    const RunName *const runs = std::ranges::find(run_names, part, &RunName::name);
    const bool may_be_runs = encoding.runs == RunForm::none && !encoding.compressed;
    if (part == compressed_name && !encoding.compressed)
      encoding.compressed = true;
    else if (runs != std::end(run_names) && may_be_runs)
      encoding.runs = runs->form;
    else
      fail(text, std::string("+").append(part).append(" cannot stand there"));
  }
  return encoding;
}

std::string encoding_text(const Encoding &encoding) {
  std::string text(describe(encoding.form).name);
  if (encoding.bits != 0) text.append(":").append(std::to_string(encoding.bits));
  if (encoding.runs != RunForm::none)
    text.append("+").append(std::ranges::find(run_names, encoding.runs, &RunName::form)->name);
  if (encoding.compressed) text.append("+").append(compressed_name);
  return text;
}

} // namespace mipo::host
