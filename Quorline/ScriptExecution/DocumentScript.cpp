#include "ScriptExecution/DocumentScript.h"

#include "ScriptExecution/WildcardPattern.h"
#include "logging/ClassLog.h"
#include "protection/ProcessInfo.h"
#include "protection/ProtectedAppEnumerator.h"
#include "base/Text.h"
#include "base/UpperCase.h"
#include "protection/WindowInfo.h"

#include <atlsafe.h>

#include <algorithm>
#include <cstdio>
#include <limits>

namespace {
bool IsAnyMatch(const std::unique_ptr<std::set<std::wstring>>& patterns, const std::wstring& value) {
    return patterns && std::any_of(patterns->begin(), patterns->end(),
                                   [&value](const std::wstring& pattern) { return MatchesPattern(pattern, value); });
}

void AddPattern(std::unique_ptr<std::set<std::wstring>>& patterns, std::wstring pattern) {
    if (!patterns)
        patterns = std::make_unique<std::set<std::wstring>>();
    patterns->insert(ToUpperCase(std::move(pattern)));
}

template <class T> std::unique_ptr<T> CopyOf(const std::unique_ptr<T>& source) {
    return source ? std::make_unique<T>(*source) : nullptr;
}

template <class T> bool AreEqual(const std::unique_ptr<T>& left, const std::unique_ptr<T>& right) {
    // kept: a set that was never made differs from an empty one.
    return left && right ? *left == *right : left == right;
}

void ThrowFailure(HRESULT hr) {
    if (FAILED(hr))
        AtlThrow(hr);
}

/// Names a difference for whoever compares two records on a console.
bool Differs(const char* field) {
    std::fputs(field, stdout);
    return false;
}
} // namespace

QUORLINE_CLASS_LOG(CDocumentScript, L"ScriptExecution.DocumentScript")

CDocumentScript::CDocumentScript() = default;

CDocumentScript::CDocumentScript(const CDocumentScript& other) : CScript(other) {
    InitFrom(other);
}

CDocumentScript& CDocumentScript::operator=(const CDocumentScript& other) {
    InitFrom(other);
    return *this;
}

CDocumentScript::~CDocumentScript() = default;

void CDocumentScript::InitFrom(const CDocumentScript& other) {
    CScript::InitFrom(other);
    m_appFriendlyName = other.m_appFriendlyName;
    m_restoreScript = other.m_restoreScript;
    m_stateChanges = other.m_stateChanges;
    m_pExes = CopyOf(other.m_pExes);
    m_pWinClasses = CopyOf(other.m_pWinClasses);
    m_pWinTitles = CopyOf(other.m_pWinTitles);
}

void CDocumentScript::Init(IDocumentScript*) {}

void CDocumentScript::AddExe(std::wstring pattern) {
    AddPattern(m_pExes, std::move(pattern));
}
void CDocumentScript::AddWindowTitle(std::wstring pattern) {
    AddPattern(m_pWinTitles, std::move(pattern));
}
void CDocumentScript::AddWindowClass(std::wstring pattern) {
    AddPattern(m_pWinClasses, std::move(pattern));
}

HRESULT CDocumentScript::SetExes(SAFEARRAY* patterns) {
    return SetFromSAFEARRAY(patterns, &CDocumentScript::AddExe);
}

HRESULT CDocumentScript::SetWindowTitles(SAFEARRAY* patterns) {
    return SetFromSAFEARRAY(patterns, &CDocumentScript::AddWindowTitle);
}

HRESULT CDocumentScript::SetWindowClasses(SAFEARRAY* patterns) {
    return SetFromSAFEARRAY(patterns, &CDocumentScript::AddWindowClass);
}

HRESULT CDocumentScript::GetExes(SAFEARRAY** patterns) const {
    return GetToSAFEARRAY(m_pExes.get(), patterns);
}

HRESULT CDocumentScript::GetWindowTitles(SAFEARRAY** patterns) const {
    return GetToSAFEARRAY(m_pWinTitles.get(), patterns);
}

HRESULT CDocumentScript::GetWindowClasses(SAFEARRAY** patterns) const {
    return GetToSAFEARRAY(m_pWinClasses.get(), patterns);
}

bool CDocumentScript::ShouldRunForStateChange(_STATE_CHANGE_TYPE type) const {
    return (m_stateChanges & type) != 0;
}

std::set<unsigned long> CDocumentScript::GetProtectedProcIDs() {
    CProtectedAppEnumerator enumerator(1);
    return enumerator.GetProtectedApps(this);
}

bool CDocumentScript::operator==(const CDocumentScript& other) const {
    if (static_cast<const CScript&>(*this) != other)
        return false;
    if (!SameText(m_appFriendlyName, other.m_appFriendlyName))
        return Differs("m_appFriendlyName\n");
    if (m_stateChanges != other.m_stateChanges)
        return Differs("m_stateChanges\n");
    if (m_restoreScript != other.m_restoreScript)
        return Differs("m_restoreScript\n");
    if (!AreEqual(m_pExes, other.m_pExes))
        return Differs("m_pExes\n");
    if (!AreEqual(m_pWinClasses, other.m_pWinClasses))
        return Differs("m_pWinClasses\n");
    if (!AreEqual(m_pWinTitles, other.m_pWinTitles))
        return Differs("m_pWinTitles\n");
    return true;
}

bool CDocumentScript::IsMatchingProcess(const CProcessInfo& process) const {
    return IsAnyMatch(m_pExes, process.m_imageName);
}

bool CDocumentScript::IsMatchingWindow(const CWindowInfo& window) const {
    return IsAnyMatch(m_pWinTitles, window.m_title) || IsAnyMatch(m_pWinClasses, window.m_className);
}

HRESULT CDocumentScript::SetFromSAFEARRAY(SAFEARRAY* array, CAddOperation add) {
    if (!array)
        return E_POINTER;
    VARTYPE type = VT_EMPTY;
    ThrowFailure(SafeArrayGetVartype(array, &type));
    if (type != VT_BSTR || SafeArrayGetDim(array) != 1)
        AtlThrow(E_INVALIDARG);
    const CComSafeArray<BSTR> strings(array);
    const LONG count = static_cast<LONG>(strings.GetCount());
    // kept: indices start at 0 whatever the lower bound, so that an array with any other lower bound is refused.
    for (LONG index = 0; index < count; ++index) {
        OLECHAR* const text = strings.GetAt(index);
        (this->*add)(text ? std::wstring(text, SysStringLen(text)) : std::wstring());
    }
    return S_OK;
}

HRESULT CDocumentScript::GetToSAFEARRAY(const CPatternSet* patterns, SAFEARRAY** array) {
    if (!array)
        return E_POINTER;
    const std::size_t count = patterns ? patterns->size() : 0;
    if (count > std::numeric_limits<ULONG>::max())
        return HRESULT_FROM_WIN32(ERROR_ARITHMETIC_OVERFLOW);
    CComSafeArray<BSTR> strings(static_cast<ULONG>(count));
    LONG index = 0;
    if (patterns)
        for (const std::wstring& pattern : *patterns)
            ThrowFailure(strings.SetAt(index++, CComBSTR(static_cast<int>(pattern.size()), pattern.c_str())));
    *array = strings.Detach();
    return S_OK;
}
