// What this run has put in place so far, for the words of a run that breaks off later: nobody is told that
// nothing was written when something was. Names only; whoever puts a file in place notes it here.
#pragma once

#include <string>

namespace tumblewash::app {

/// Notes a file that is in place; an empty name is none.
void noteWritten(const std::string& file) noexcept;

/// "nothing was written", or the names of what was: "a.mp4 and b.png were written".
std::string writtenWords();

/// True when something was noted. Safe in a signal handler.
bool anythingWritten() noexcept;

}  // namespace tumblewash::app
