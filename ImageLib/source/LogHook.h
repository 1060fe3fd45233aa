// LogHook: the one place where ImageLib hands a line of its log to whoever runs the program.
// The flow warp and the morph report their steps here; a plug-in or a test sets the sink and sees them in
// order. It is not the library's diagnostic output (that is siprintf) and it neither formats nor stores
// anything.
#pragma once

/// Code of this project's own, beside the fixed names, which are global.
namespace tumblewash::imagelib {

/// Receives one finished line of the log. The text belongs to the caller and lives only during the call.
using LogSink = void (*)(const char* line);

/// Sets the sink of every later `logLine` of the process and returns the previous one. Null discards (the
/// state at start). Safe to call from any thread; a line under way may still reach the previous sink.
LogSink setLogSink(LogSink sink);

/// Hands a line to the sink, if there is one, on the calling thread.
void logLine(const char* line);

}  // namespace tumblewash::imagelib
