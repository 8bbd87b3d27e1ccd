// One function object of several, for std::visit.
#ifndef MIPO_TOOLS_OVERLOADED_H
#define MIPO_TOOLS_OVERLOADED_H

namespace mipo::tools {

template <class... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

} // namespace mipo::tools

#endif
