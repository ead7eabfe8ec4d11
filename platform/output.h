#ifndef ZEVRA_PLATFORM_OUTPUT_H
#define ZEVRA_PLATFORM_OUTPUT_H

// The places besides a file that a line can go to. None reports a failure, none ends the process.
// Any thread; lines of several threads may follow each other in any order.

namespace zevra {

// Obtains a console for a process that has none and points the standard output at it. False if
// there is one already, or on a system whose console is the standard output anyway.
bool ObtainConsole();
void ReleaseConsole();

// The standard output. Nothing is added and nothing is flushed.
void WriteToConsole(const char* text);
void WriteToConsole(const wchar_t* text);

// The debugger's channel; on Linux the system log at debug level.
void WriteToDebugger(const char* text);
void WriteToDebugger(const wchar_t* text);

enum class BoxIcon { kError, kInformation };

// A message box, which waits for the user. On Linux one framed block on the standard error, which
// waits for nobody: what a full pipe does not take at once is dropped.
void ShowMessageBox(const char* caption, const char* text, BoxIcon icon);
void ShowMessageBox(const wchar_t* caption, const wchar_t* text, BoxIcon icon);

}  // namespace zevra

#endif
