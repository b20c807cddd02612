#pragma once

// What the system says of a code.

#include <string>

/// A message may have places for arguments ("%1"), of which nobody here has any: shown as they stand, or no message.
enum class MessageInserts { Show, Refuse };

/// The system's message for a Win32 error or an HRESULT, in the user's language, as it is: with its full stop and line
/// break. Empty, with the thread's last error set, when there is none.
std::wstring GetSystemMessage(unsigned long code, MessageInserts inserts = MessageInserts::Show);

/// The same to go on in a sentence: without its full stop and line break.
std::wstring GetSystemPhrase(unsigned long code);
