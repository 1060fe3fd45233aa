// What the user asked for, as read from the command line: plain values, checked one by one.
// Nothing here has looked at a file or at the plug-in yet; what depends on those is checked later.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "edit/order.h"

namespace tumblewash::app {

/// The commands of the program.
enum class Command { None, Join, Out, In, Frame, Sheet, Field, List, Demo };

/// How progress is told: a line that a terminal redraws, key=value lines, or not at all.
enum class ProgressStyle { Auto, KeyValue, None };

/// Colours of contact sheets and field pictures.
enum class Theme { Dark, Light };

/// Everything the command line can say: the order for a movie, and how the program is to behave. Defaults are
/// the program's.
struct Options : edit::MovieOrder {
    Command command = Command::None;

    std::optional<int> frame;  ///< `frame`: K of N
    std::optional<int> of;
    bool alpha = false;
    int columns = 6;
    Theme theme = Theme::Dark;

    ProgressStyle progress = ProgressStyle::Auto;
    bool quiet = false;
    bool verbose = false;

    bool json = false;
    bool help = false;
    bool version = false;
    std::string generate;  ///< man, bash, zsh or fish: print that page or script and end
};

/// Reads a command line. Throws Refusal (BadRequest) for anything it does not understand, with the nearest
/// known word where one is near. `arguments` excludes the program's name.
Options parseOptions(const std::vector<std::string>& arguments);

}  // namespace tumblewash::app
