#include "certificates/RevocationLookup.h"

#include "certificates/CertificateStore.h"
#include "common/SignerErrors.h"

#include <exception>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

namespace {

/// The certificates about which nobody has answered in time. Lookups share it, since they may outlast its maker.
class CLateAnswers {
public:
    bool Awaits(const CBytes& certificate) {
        const std::lock_guard lock(m_mutex);
        return m_certificates.contains(certificate);
    }
    /// False when the answer has come after all; it may then be taken.
    bool Await(const CBytes& certificate, const bool& answered) {
        const std::lock_guard lock(m_mutex);
        if (!answered)
            m_certificates.insert(certificate);
        return !answered;
    }
    void Arrived(const CBytes& certificate, bool& answered) {
        const std::lock_guard lock(m_mutex);
        answered = true;
        m_certificates.erase(certificate);
    }

private:
    std::mutex m_mutex;
    std::set<CBytes> m_certificates;
};

std::shared_ptr<CLateAnswers> LateAnswers() {
    static const auto answers = std::make_shared<CLateAnswers>();
    return answers;
}

/// One question, shared by the thread that asks it and the one that waits.
class CLookup {
public:
    CLookup(PCCERT_CONTEXT certificate, const CChainDemand& demand)
        : m_late(LateAnswers()), m_certificate(ShareCertificate(certificate)),
          m_intermediates(CertDuplicateStore(demand.intermediates)), m_demand(demand),
          m_encoded(certificate->pbCertEncoded, certificate->pbCertEncoded + certificate->cbCertEncoded) {}

    void Ask() noexcept {
        try {
            const CUniqueChain chain =
                BuildChain(m_certificate.Get(), m_demand,
                           CERT_CHAIN_REVOCATION_CHECK_CHAIN_EXCLUDE_ROOT | CERT_CHAIN_REVOCATION_ACCUMULATIVE_TIMEOUT);
            m_errors = chain.Get()->TrustStatus.dwErrorStatus;
        } catch (...) {
            m_failure = std::current_exception();
        }
        m_late->Arrived(m_encoded, m_answered);
    }

    bool IsAwaitedAlready() const { return m_late->Awaits(m_encoded); }

    /// Nothing when there is no answer yet.
    std::optional<DWORD> Answer() const {
        if (m_late->Await(m_encoded, m_answered))
            return std::nullopt;
        if (m_failure)
            std::rethrow_exception(m_failure);
        return m_errors;
    }

private:
    std::shared_ptr<CLateAnswers> m_late;
    CUniqueCertificate m_certificate;
    CUniqueStore m_intermediates;
    CChainDemand m_demand;
    CBytes m_encoded;
    bool m_answered = false;
    DWORD m_errors = 0;
    std::exception_ptr m_failure;
};

/// What the thread is given.
struct CTask {
    std::shared_ptr<CLookup> lookup;
    HMODULE module;
};

DWORD WINAPI RunLookup(void* parameter) noexcept {
    const HMODULE module = [parameter] {
        const std::unique_ptr<CTask> task(static_cast<CTask*>(parameter));
        task->lookup->Ask();
        return task->module;
    }();
    FreeLibraryAndExitThread(module, 0);
}

CUniqueHandle StartLookup(const std::shared_ptr<CLookup>& lookup) {
    auto task = std::make_unique<CTask>(CTask{lookup, nullptr});
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(&RunLookup),
                            &task->module))
        ThrowLastError(L"cannot ask for revoked certificates");
    CUniqueHandle thread(CreateThread(nullptr, 0, &RunLookup, task.get(), 0, nullptr));
    if (!thread) {
        const DWORD error = GetLastError();
        FreeLibrary(task->module);
        ThrowSystemError(L"cannot ask for revoked certificates", HRESULT_FROM_WIN32(error));
    }
    // The thread owns it from here.
    static_cast<void>(task.release());
    return thread;
}

} // namespace

std::optional<DWORD> AskRevocationLists(PCCERT_CONTEXT certificate, const CChainDemand& demand) {
    const auto lookup = std::make_shared<CLookup>(certificate, demand);
    if (lookup->IsAwaitedAlready())
        return std::nullopt;
    const CUniqueHandle thread = StartLookup(lookup);
    // For the thread's end, not only its answer: whatever it used is then gone.
    WaitForSingleObject(thread.Get(), RevocationTimeout);
    return lookup->Answer();
}
