// Kernel: the rows of the table about one kernel, each version that this machine has beside the scalar
// sibling. It measures; what is called, and over which pixels, is its caller's.
#pragma once

#include <functional>
#include <string>
#include <utility>

#include "ImageLib/kernels/InstructionSet.h"
#include "bench/Paired.h"

namespace tumblewash::bench {

/// Adds a row for each version of a kernel: how many times faster it is than the scalar sibling, `scalar`,
/// and for the best one also than OpenCV's routine over the same rows, where there is such a routine.
class Kernel {
  public:
    Kernel(Table& table, std::string name, int width)
        : table_(table), name_("kernel, " + std::move(name)), size_(" " + std::to_string(width)) {}

    template <class Version, class Scalar>
    void beside(Version version, Scalar scalar) const {
        for (const kernels::InstructionSet set : kernels::instructionSets())
            table_.add(
                name_ + " " + kernels::nameOf(set) + size_, [&] { version(set); }, "scalar sibling", scalar,
                Aim::shown, 0.0);
    }
    template <class Version>
    void besideOpenCv(Version version, const std::string& theirName,
                      const std::function<void()>& theirs) const {
        table_.add(
            name_ + size_, [&] { version(kernels::InstructionSet::best); }, theirName, theirs, Aim::shown,
            0.0);
    }

  private:
    Table& table_;
    std::string name_;
    std::string size_;
};

}  // namespace tumblewash::bench
