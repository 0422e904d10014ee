/* How the host tools report a TavMovieMaker call that failed, in one line:
 *
 *   TavMovieMakerStartMovieRecord failed: 0x80004005 (Unspecified error):
 *   the library refused a bad argument or a call in the wrong state; its log
 *   has an ERROR line saying which
 *
 * (one line in reality): the export's name, the HRESULT in hex, the system's
 * text for it from FormatMessageW (or "no system text"), and for E_FAIL and
 * TAVMM_E_TIMEOUT (0xFFFFFB2E, -1234) what the library means by them.
 *
 * Every function works only on its arguments and the caller's buffer: any
 * thread may call them, several at once.
 */
#ifndef TAV_TOOLS_CALLERROR_H
#define TAV_TOOLS_CALLERROR_H

#include <stddef.h>
#include <wchar.h>
#include <windows.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The system's text for hr without its trailing line break or full stop,
 * into text (capacity characters, always terminated when capacity > 0).
 * Tries the system's message table, then the Win32 code inside a
 * FACILITY_WIN32 HRESULT, then DirectShow's quartz.dll when it is loaded.
 * Returns 0 and writes "no system text" when none of them knows hr. */
int TavSystemText(HRESULT hr, wchar_t* text, size_t capacity);

/* What the library itself means by hr: a sentence for E_FAIL and
 * TAVMM_E_TIMEOUT, NULL for every other value. */
const wchar_t* TavLibraryMeaning(HRESULT hr);

/* The whole line above (without a line break) into text, cut to capacity
 * characters and always terminated when capacity > 0. exportName is the
 * export's name, e.g. "TavMovieMakerInitEx". Returns the characters written. */
int TavFormatCallError(const char* exportName, HRESULT hr, wchar_t* text, size_t capacity);

#ifdef __cplusplus
}
#endif

#endif /* TAV_TOOLS_CALLERROR_H */
