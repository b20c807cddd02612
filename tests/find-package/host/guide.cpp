// The C++ of the host's guide, compiled with nothing but what is installed.

#include <includes.inc>

std::wstring PathOfProcess(unsigned long processId);

#include <recorder.inc>
#include <run.inc>

void Restore(const CDocumentScript& app) {
#include <restore.inc>
}
