// Paired timing: two pieces of work run in turns in one process, and the middle of the ratios counts.
// What disturbs the machine then disturbs both. Nothing here knows what is measured, and nothing absolute
// is compared.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace tumblewash::bench {

/// Two medians in milliseconds and the median of `ours / yardstick` over the rounds.
struct Pair {
    double ours;
    double yardstick;
    double ratio;
};

/// What passes while work is done.
enum class Clock {
    processor,  ///< processor time of the calling thread: what other processes take does not count
    wall        ///< time on the wall, for work that several threads share; only an idle machine tells it
};

/// Runs both pieces of work in turns: one unmeasured round, then at least `rounds` rounds. Work that takes
/// microseconds is repeated inside a round until a round takes about 2 ms.
Pair measurePair(const std::function<void()>& ours, const std::function<void()>& yardstick, int rounds,
                 Clock clock = Clock::processor);

/// How a row is judged.
enum class Aim {
    fasterBy,  ///< yardstick / ours is at least the target
    atMost,    ///< ours / yardstick is at most the target
    shown      ///< no target: the row is there to be read
};

/// The table: rows are printed as they are added.
class Table {
  public:
    /// `only`: rows whose text does not contain it are neither measured nor printed; empty takes all.
    explicit Table(std::string only, int rounds);

    /// True when a row with this text is wanted; building its inputs can be saved otherwise.
    bool wants(const std::string& row) const;
    /// Measures and prints one row; returns our median in milliseconds (0 when the row is not wanted).
    double add(const std::string& row, const std::function<void()>& ours, const std::string& yardstickName,
               const std::function<void()>& yardstick, Aim aim, double target,
               Clock clock = Clock::processor);
    /// Prints a row about two figures that are there already.
    void addFigures(const std::string& row, double ours, const std::string& yardstickName, double yardstick,
                    Aim aim, double target);
    /// How many rows missed their target.
    int missed() const { return missed_; }
    /// Every row so far, one record each, with the processor and the compiler: what `bench/plot` draws.
    /// Throws std::runtime_error where the file cannot be written.
    void writeJson(const std::string& path) const;

  private:
    void print(const std::string& row, const Pair& pair, const std::string& yardstickName, Aim aim,
               double target);

    struct Row {
        std::string name;
        std::string yardstick;
        Pair pair;
        Aim aim;
        double target;
        bool met;
    };

    std::string only_;
    int rounds_;
    int missed_ = 0;
    std::vector<Row> rows_;
};

}  // namespace tumblewash::bench
