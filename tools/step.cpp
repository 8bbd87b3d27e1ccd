#include "step.h"

#include "mipo/host/kernel_names.h"

namespace mipo::tools {

Step entry_step(const char *name, std::size_t byte_in_record, const std::string &condition) {
  Step step;
  step.name = name;
  step.kind = Step::Kind::entry;
  step.key = static_cast<ub4>(byte_in_record / sizeof(void *));
  step.condition = condition;
  return step;
}

Step kernel_step(ub4 key, const std::string &condition) {
  Step step;
  step.name = host::kernel_name(key);
  step.key = key;
  step.condition = condition;
  return step;
}

Step translation_step(ub4 key, const host::TranslationTable &table, const std::string &condition) {
  Step step = kernel_step(key, condition);
  step.translation = {table.mapping(), table.width(), table.stored_bytes()};
  return step;
}

Step row_step(const char *name, const std::string &condition) {
  Step step;
  step.kind = Step::Kind::row_by_row;
  step.name = name;
  step.condition = condition;
  return step;
}

} // namespace mipo::tools
