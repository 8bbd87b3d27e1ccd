// One function object of several, for std::visit.
#ifndef MIPO_ENGINE_PLAN_OVERLOADED_H
#define MIPO_ENGINE_PLAN_OVERLOADED_H

namespace mipo::engine {

template <class... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

} // namespace mipo::engine

#endif
