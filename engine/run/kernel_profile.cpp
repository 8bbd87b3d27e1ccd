#include "engine/run/kernel_profile.h"

#include "mipo/host/kernel_names.h"

namespace mipo::engine {

double total_seconds(const std::vector<KernelProfile> &calls) {
  double seconds = 0;
  for (const KernelProfile &call : calls) seconds += call.seconds;
  return seconds;
}

KernelProfile entry_step(const char *name, std::size_t byte_in_record, const std::string &condition) {
  KernelProfile step;
  step.name = name;
  step.kind = KernelProfile::Kind::entry;
  step.key = static_cast<ub4>(byte_in_record / sizeof(void *));
  step.condition = condition;
  return step;
}

KernelProfile kernel_step(ub4 key, const std::string &condition) {
  KernelProfile step;
  step.name = host::kernel_name(key);
  step.key = key;
  step.condition = condition;
  return step;
}

KernelProfile translation_step(ub4 key, const host::TranslationTable &table, const std::string &condition) {
  KernelProfile step = kernel_step(key, condition);
  step.translation = {table.mapping(), table.width(), table.stored_bytes()};
  return step;
}

KernelProfile row_step(const char *name, const std::string &condition) {
  KernelProfile step;
  step.kind = KernelProfile::Kind::row_by_row;
  step.name = name;
  step.condition = condition;
  return step;
}

} // namespace mipo::engine
