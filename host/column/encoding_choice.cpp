#include "mipo/host/encoding_choice.h"

#include <optional>

#include "host/column/run_table.h"
#include "host/column/value_format.h"
#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

// Bytes of rows, or runs, with these ranks in a form, without the dictionary; nothing if it does not hold their values.
std::optional<ub8> bytes_of(ValueForm form, std::span<const ub4> ranks, const Dictionary &dictionary) {
  try {
    const ValueFormat format({form}, dictionary);
    std::vector<ub8> codes;
    if (format.holds_numbers()) codes = format.number_range(dictionary).codes_of_ranks(dictionary);
    return format.value_bytes({ranks, codes}) + format.length_bytes(ranks.size());
  } catch (const EncodingError &) {
    return {};
  }
}

struct Choice {
  Encoding encoding;
  ub8 bytes; // that kernels read
};

// For single rows or for runs, whose ranks these are.
Choice choose_form(std::span<const ub4> ranks, const Dictionary &dictionary) {
  const ub8 coded = *bytes_of(ValueForm::dictionary, ranks, dictionary);
  const Choice codes = {{ValueForm::dictionary}, coded};
  if (dictionary.type().kind == ValueKind::text || dictionary.value_count() == 0) return codes;
  const auto fixed = bytes_of(ValueForm::fixed, ranks, dictionary);
  const ub8 with_dictionary = coded + dictionary.stored_bytes();
  if (!fixed || with_dictionary < *fixed) return codes;
  const auto dynamic = bytes_of(ValueForm::dynamic_packed, ranks, dictionary);
  const bool packs = dynamic && *dynamic * 100 <= *fixed * dynamic_packed_percent;
  const Choice plain = packs ? Choice{{ValueForm::dynamic_packed}, *dynamic} : Choice{{ValueForm::fixed}, *fixed};
  return with_dictionary * 100 <= plain.bytes * dictionary_percent ? codes : plain;
}

} // namespace

Encoding choose_encoding(std::span<const ub4> codes, const Dictionary &dictionary) {
  const Choice single = choose_form(codes, dictionary);
  const ub8 runs = count_runs(codes, longest_run(RunForm::starts));
  if (runs == 0 || runs * least_mean_run > codes.size()) return single.encoding;
  Choice best = {single.encoding, single.bytes * runs_percent / 100 + 1};
  for (const RunForm form : {RunForm::lengths_8, RunForm::lengths_16}) {
    const RunTable table(codes, form);
    Choice choice = choose_form(table.values(), dictionary);
    choice.bytes += table.bytes();
    choice.encoding.runs = form;
    if (choice.bytes < best.bytes) best = choice;
  }
  return best.encoding;
}

} // namespace mipo::host
