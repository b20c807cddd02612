#pragma once

// Lines that were to be logged and could not be: a full disk, no memory, an appender that failed. They are dropped,
// since no log is worth a document, and counted, so that the log says later how many are missing. Any thread; nothing
// throws.

void CountLostLine() noexcept;

/// The lines lost since the last call; they count as reported.
unsigned long long TakeLostLines() noexcept;

/// They could not be reported.
void GiveBackLostLines(unsigned long long count) noexcept;

/// True when lines may have been cut off in their middle since the last call.
bool TakeTornLine() noexcept;
