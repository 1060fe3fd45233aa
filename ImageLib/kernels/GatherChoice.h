// GatherChoice: whether the machine's vector gathers are worth their time. Makers and microcode differ by a
// factor of ten, so it is measured, once in a process. The choice changes no result.
#pragma once

namespace tumblewash::kernels {

/// True where a gather takes less time than as many loads put together; false where no gather is worth
/// trying. The first call measures, for some ten microseconds. From any thread.
[[nodiscard]] bool gathersPay();

}  // namespace tumblewash::kernels
