#include "Components.h"

#include "ExitCode.h"
#include "Registration.h"

#include <windows.h>

#include <objbase.h>

CHostApartment::CHostApartment() {
    if (FAILED(CoInitializeEx(nullptr, COINIT_MULTITHREADED)))
        throw CCommandError(ExitCode::Failed, L"COM could not be initialised.");
}

CHostApartment::~CHostApartment() {
    CoUninitialize();
}

void RequireComponents() {
    for (const CComponent& component : FindComponents())
        if (!component.problem.empty())
            throw CCommandError(ExitCode::NotRegistered, component.what + (L" " + component.problem) +
                                                             L"; run as administrator: quorline register");
}
