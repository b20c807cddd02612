#pragma once

// What an automation call tells of an error that happened in it; owns its texts.

#include <windows.h>

#include <oaidl.h>
#include <oleauto.h>

struct CExceptionInfo : EXCEPINFO {
    CExceptionInfo() noexcept : EXCEPINFO{} {}
    CExceptionInfo(const CExceptionInfo&) = delete;
    CExceptionInfo& operator=(const CExceptionInfo&) = delete;
    ~CExceptionInfo() {
        SysFreeString(bstrSource);
        SysFreeString(bstrDescription);
        SysFreeString(bstrHelpFile);
    }
};
