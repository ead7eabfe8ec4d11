#ifndef ZEVRA_PLATFORM_OUTPUT_H
#define ZEVRA_PLATFORM_OUTPUT_H

// The places besides a file that a line can go to. None reports a failure, none ends the process.
// Any thread; lines of several threads may follow each other in any order.

namespace zevra {

// Obtains a console for a process that has none and points the standard output at it. False if
// there is one already, or on a system whose console is the standard output anyway.
bool ObtainConsole();
void ReleaseConsole();

// The standard output. On Windows nothing is flushed. On Linux a line follows what the host has
// printed at once, and waits for nobody: what a full pipe does not take is dropped and counted, and
// the next line that is taken comes behind the count.
void WriteToConsole(const char* text);
void WriteToConsole(const wchar_t* text);

// The debugger's channel; on Linux the system log at debug level, which drops and counts as well.
void WriteToDebugger(const char* text);
void WriteToDebugger(const wchar_t* text);

enum class BoxIcon { kError, kInformation };

// A message box, which waits for the user. On Linux one framed block on the standard error, which
// drops and counts as well.
void ShowMessageBox(const char* caption, const char* text, BoxIcon icon);
void ShowMessageBox(const wchar_t* caption, const wchar_t* text, BoxIcon icon);

}  // namespace zevra

#endif
