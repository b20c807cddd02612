#pragma once

// What COM classes are made of: reference counts, interface maps, creation, class factories, dispatch through a type
// library.
//
//     class CThing : public CComObjectRootEx<CComSingleThreadModel>, public IThing {
//     public:
//         BEGIN_COM_MAP(CThing)
//         COM_INTERFACE_ENTRY(IThing)
//         END_COM_MAP()
//         ...
//     };
//     CComPtr<IThing> thing;
//     HRESULT hr = CComCreator<CComObject<CThing>>::CreateInstance(nullptr, IID_IThing, (void**)&thing);
//
// The class itself stays abstract; CComObject adds IUnknown and keeps the module loaded, CComObjectNoLock does not keep
// it. An object deletes itself with its last reference. Aggregation is not supported: an outer object is refused.

#include "atlbase.h"

#include <atomic>
#include <cstring>
#include <memory>
#include <new>

namespace ATL {

class CComAutoCriticalSection {
public:
    CComAutoCriticalSection() noexcept { InitializeCriticalSection(&m_sec); }
    CComAutoCriticalSection(const CComAutoCriticalSection&) = delete;
    CComAutoCriticalSection& operator=(const CComAutoCriticalSection&) = delete;
    ~CComAutoCriticalSection() { DeleteCriticalSection(&m_sec); }
    void Lock() noexcept { EnterCriticalSection(&m_sec); }
    void Unlock() noexcept { LeaveCriticalSection(&m_sec); }

private:
    CRITICAL_SECTION m_sec;
};

class CComFakeCriticalSection {
public:
    void Lock() noexcept {}
    void Unlock() noexcept {}
};

struct CComSingleThreadModel {
    static ULONG Increment(LONG* count) noexcept { return static_cast<ULONG>(++*count); }
    static ULONG Decrement(LONG* count) noexcept { return static_cast<ULONG>(--*count); }
    using AutoCriticalSection = CComFakeCriticalSection;
};

struct CComMultiThreadModel {
    static ULONG Increment(LONG* count) noexcept { return static_cast<ULONG>(InterlockedIncrement(count)); }
    static ULONG Decrement(LONG* count) noexcept { return static_cast<ULONG>(InterlockedDecrement(count)); }
    using AutoCriticalSection = CComAutoCriticalSection;
};

/// One line of an interface map: the interface and where its pointer lies in the object.
struct _ATL_INTMAP_ENTRY {
    const IID* piid;
    DWORD_PTR offset;
};

/// Finds the interface in the map (the first line also answers for IUnknown), with one reference for the caller.
inline HRESULT AtlInternalQueryInterface(void* object, const _ATL_INTMAP_ENTRY* entries, REFIID iid,
                                         void** found) noexcept {
    if (found == nullptr)
        return E_POINTER;
    *found = nullptr;
    // Byte by byte: remote calls ask by an identifier that stands in the middle of a proxy's tables, at any address.
    const auto asksFor = [wanted = static_cast<const void*>(&iid)](const IID& offered) {
        return std::memcmp(wanted, &offered, sizeof offered) == 0;
    };
    for (const auto* entry = entries; entry->piid != nullptr; ++entry) {
        if ((entry == entries && asksFor(IID_IUnknown)) || asksFor(*entry->piid)) {
            auto* const unknown = reinterpret_cast<IUnknown*>(static_cast<char*>(object) + entry->offset);
            unknown->AddRef();
            *found = unknown;
            return S_OK;
        }
    }
    return E_NOINTERFACE;
}

/// The reference count, interlocked or not as the model says.
template <class ThreadModel> class CComObjectRootEx {
public:
    using _ThreadModel = ThreadModel;

    CComObjectRootEx() noexcept = default;
    CComObjectRootEx(const CComObjectRootEx&) = delete;
    CComObjectRootEx& operator=(const CComObjectRootEx&) = delete;

    /// A failure keeps the object from being created. Called with a reference held.
    HRESULT FinalConstruct() { return S_OK; }
    /// Called once, before the destructor, while virtual functions still reach the class.
    void FinalRelease() {}

    ULONG InternalAddRef() noexcept { return ThreadModel::Increment(&m_dwRef); }
    ULONG InternalRelease() noexcept { return ThreadModel::Decrement(&m_dwRef); }
    void Lock() noexcept { m_critsec.Lock(); }
    void Unlock() noexcept { m_critsec.Unlock(); }

protected:
    ~CComObjectRootEx() = default;

private:
    LONG m_dwRef = 0;
    [[no_unique_address]] typename ThreadModel::AutoCriticalSection m_critsec;
};

using CComObjectRoot = CComObjectRootEx<CComSingleThreadModel>;

/// Makes a class into an object that answers IUnknown and counts itself into the module.
template <class Base, bool LocksModule = true> class CComObject final : public Base {
public:
    explicit CComObject(void* = nullptr) {
        if (LocksModule && _pAtlModule != nullptr)
            _pAtlModule->Lock();
    }
    ~CComObject() {
        this->FinalRelease();
        if (LocksModule && _pAtlModule != nullptr)
            _pAtlModule->Unlock();
    }

    STDMETHODIMP QueryInterface(REFIID iid, void** object) noexcept override {
        return this->_InternalQueryInterface(iid, object);
    }
    STDMETHODIMP_(ULONG) AddRef() noexcept override { return this->InternalAddRef(); }
    STDMETHODIMP_(ULONG) Release() noexcept override {
        const ULONG count = this->InternalRelease();
        if (count == 0)
            const std::unique_ptr<CComObject> owner(this);
        return count;
    }

    /// A new object without a reference: the caller adds the first.
    static HRESULT CreateInstance(CComObject** object) {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        std::unique_ptr<CComObject> created(new (std::nothrow) CComObject);
        if (created == nullptr)
            return E_OUTOFMEMORY;
        // FinalConstruct may hand the object out; the reference held meanwhile keeps that from deleting it.
        created->InternalAddRef();
        const HRESULT hr = created->FinalConstruct();
        created->InternalRelease();
        if (SUCCEEDED(hr))
            *object = created.release();
        return hr;
    }
};

template <class Base> using CComObjectNoLock = CComObject<Base, false>;

/// Creates an object and asks it for an interface.
template <class T> class CComCreator {
public:
    static HRESULT CreateInstance(void*, REFIID iid, void** object) {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        T* created = nullptr;
        const HRESULT hr = T::CreateInstance(&created);
        if (FAILED(hr))
            return hr;
        // Holds the only reference but the one that the interface adds: refused, the object goes at once.
        struct CReference {
            T* object;
            explicit CReference(T* held) noexcept : object(held) { object->AddRef(); }
            CReference(const CReference&) = delete;
            CReference& operator=(const CReference&) = delete;
            ~CReference() { object->Release(); }
        };
        return CReference(created).object->QueryInterface(iid, object);
    }
};

template <HRESULT result> class CComFailCreator {
public:
    static HRESULT CreateInstance(void*, REFIID, void** object) noexcept {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        return result;
    }
};

/// The first creator without an outer object, the second with one.
template <class Alone, class Aggregated> class CComCreator2 {
public:
    static HRESULT CreateInstance(void* outer, REFIID iid, void** object) {
        return outer == nullptr ? Alone::CreateInstance(nullptr, iid, object)
                                : Aggregated::CreateInstance(outer, iid, object);
    }
};

} // namespace ATL

// An interface map; the offsets are measured on a pointer that is never read.
#define BEGIN_COM_MAP(x)                                                                                               \
public:                                                                                                                \
    using _ComMapClass = x;                                                                                            \
    HRESULT _InternalQueryInterface(REFIID iid, void** object) noexcept {                                              \
        return ATL::AtlInternalQueryInterface(this, _GetEntries(), iid, object);                                       \
    }                                                                                                                  \
    IUnknown* GetUnknown() noexcept {                                                                                  \
        return reinterpret_cast<IUnknown*>(reinterpret_cast<char*>(this) + _GetEntries()->offset);                     \
    }                                                                                                                  \
    static const ATL::_ATL_INTMAP_ENTRY* _GetEntries() noexcept {                                                      \
        static const ATL::_ATL_INTMAP_ENTRY entries[] = {

// NOLINTBEGIN(bugprone-macro-parentheses): these arguments are names of types, which take no parentheses.
#define offsetofclass(base, derived)                                                                                   \
    (reinterpret_cast<DWORD_PTR>(static_cast<base*>(reinterpret_cast<derived*>(0x1000))) - 0x1000)

#define COM_INTERFACE_ENTRY(x) {&__uuidof(x), offsetofclass(x, _ComMapClass)},
#define COM_INTERFACE_ENTRY_IID(iid, x) {&(iid), offsetofclass(x, _ComMapClass)},
/// For an interface that is reached through more than one base: x by way of x2.
#define COM_INTERFACE_ENTRY2(x, x2)                                                                                    \
    {&__uuidof(x),                                                                                                     \
     reinterpret_cast<DWORD_PTR>(static_cast<x*>(static_cast<x2*>(reinterpret_cast<_ComMapClass*>(0x1000)))) -         \
         0x1000},
// NOLINTEND(bugprone-macro-parentheses)

#define END_COM_MAP()                                                                                                  \
    { nullptr, 0 }                                                                                                     \
    }                                                                                                                  \
    ;                                                                                                                  \
    return entries;                                                                                                    \
    }

// NOLINTBEGIN(bugprone-macro-parentheses): the argument is the name of a type.
#define DECLARE_NOT_AGGREGATABLE(x)                                                                                    \
public:                                                                                                                \
    using _CreatorClass =                                                                                              \
        ATL::CComCreator2<ATL::CComCreator<ATL::CComObject<x>>, ATL::CComFailCreator<CLASS_E_NOAGGREGATION>>;
// NOLINTEND(bugprone-macro-parentheses)

/// Objects are safe during FinalConstruct without it; kept so that classes read the same everywhere.
#define DECLARE_PROTECT_FINAL_CONSTRUCT()

namespace ATL {

// CComObject has a CreateInstance of its own, which makes the factory and hides the one that clients call.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Woverloaded-virtual"

/// Creates objects of one class; itself an object that keeps the module loaded.
class CComClassFactory : public IClassFactory, public CComObjectRootEx<CComMultiThreadModel> {
public:
    BEGIN_COM_MAP(CComClassFactory)
    COM_INTERFACE_ENTRY(IClassFactory)
    END_COM_MAP()

    STDMETHODIMP CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept override {
        if (object == nullptr)
            return E_POINTER;
        *object = nullptr;
        if (outer != nullptr && !IsEqualIID(iid, IID_IUnknown))
            return CLASS_E_NOAGGREGATION;
        try {
            return m_create(outer, iid, object);
        } catch (const CAtlException& e) {
            return e;
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        } catch (...) {
            return E_FAIL;
        }
    }
    STDMETHODIMP LockServer(BOOL lock) noexcept override {
        lock ? _pAtlModule->Lock() : _pAtlModule->Unlock();
        return S_OK;
    }

    void SetVoid(void* create) noexcept { m_create = reinterpret_cast<_ATL_CREATORFUNC*>(create); }

private:
    _ATL_CREATORFUNC* m_create = nullptr;
};

#pragma GCC diagnostic pop

/// Makes the factory of a class, given the class's creation function.
class CComClassFactoryCreator {
public:
    static HRESULT CreateInstance(void* create, REFIID iid, void** object) noexcept {
        CComObject<CComClassFactory>* factory = nullptr;
        const HRESULT hr = CComObject<CComClassFactory>::CreateInstance(&factory);
        if (FAILED(hr))
            return hr;
        factory->SetVoid(create);
        return CComPtr<IClassFactory>(factory)->QueryInterface(iid, object);
    }
};

/// What a class that others create knows of itself. The class says DECLARE_NOT_AGGREGATABLE.
template <class T, const CLSID* pclsid = &CLSID_NULL> class CComCoClass {
public:
    using _ClassFactoryCreatorClass = CComClassFactoryCreator;

    static const CLSID& GetObjectCLSID() noexcept { return *pclsid; }

    template <class Q> static HRESULT CreateInstance(IUnknown* outer, Q** object) {
        return T::_CreatorClass::CreateInstance(outer, __uuidof(Q), reinterpret_cast<void**>(object));
    }
    template <class Q> static HRESULT CreateInstance(Q** object) {
        return CreateInstance(static_cast<IUnknown*>(nullptr), object);
    }
};

/// Answers S_OK for the one interface whose methods set error information.
template <const IID* piid> class DECLSPEC_NOVTABLE ISupportErrorInfoImpl : public ISupportErrorInfo {
public:
    STDMETHODIMP InterfaceSupportsErrorInfo(REFIID iid) override { return IsEqualIID(iid, *piid) ? S_OK : S_FALSE; }
};

/// The type description of one dual interface, found on first use and kept for the module's life. The registered
/// library comes first; a program that is not registered falls back on the library in its own resources.
class CComTypeInfoHolder {
public:
    CComTypeInfoHolder(const GUID& iid, const GUID& libid, WORD major, WORD minor) noexcept
        : m_iid(iid), m_libid(libid), m_major(major), m_minor(minor) {}
    CComTypeInfoHolder(const CComTypeInfoHolder&) = delete;
    CComTypeInfoHolder& operator=(const CComTypeInfoHolder&) = delete;
    ~CComTypeInfoHolder() { CComPtr<ITypeInfo>().Attach(m_info.exchange(nullptr)); }

    HRESULT GetTI(LCID locale, ITypeInfo** info) {
        if (info == nullptr)
            return E_POINTER;
        *info = nullptr;
        if (m_info.load() == nullptr) {
            const HRESULT hr = Load(locale);
            if (FAILED(hr))
                return hr;
        }
        return CComPtr<ITypeInfo>(m_info.load()).CopyTo(info);
    }

private:
    HRESULT Load(LCID locale) {
        CComPtr<ITypeLib> library;
        CComPtr<ITypeInfo> info;
        HRESULT hr = LoadRegTypeLib(m_libid, m_major, m_minor, locale, &library);
        if (FAILED(hr)) {
            CComBSTR path;
            hr = AtlLoadTypeLib(_AtlBaseModule.GetModuleInstance(), nullptr, path, &library);
        }
        if (SUCCEEDED(hr))
            hr = library->GetTypeInfoOfGuid(m_iid, &info);
        if (FAILED(hr))
            return hr;
        // Of two threads that come here together the second drops what it found.
        ITypeInfo* expected = nullptr;
        if (m_info.compare_exchange_strong(expected, info))
            info.Detach();
        return S_OK;
    }

    const GUID& m_iid;
    const GUID& m_libid;
    const WORD m_major;
    const WORD m_minor;
    std::atomic<ITypeInfo*> m_info = nullptr;
};

/// IDispatch of a dual interface through its type library.
template <class T, const IID* piid, const GUID* plibid, WORD wMajor = 1, WORD wMinor = 0>
class DECLSPEC_NOVTABLE IDispatchImpl : public T {
public:
    STDMETHODIMP GetTypeInfoCount(UINT* count) override {
        if (count == nullptr)
            return E_POINTER;
        *count = 1;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT index, LCID locale, ITypeInfo** info) override {
        if (index != 0)
            return DISP_E_BADINDEX;
        return TypeInfo(locale, info);
    }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID locale, DISPID* ids) override {
        CComPtr<ITypeInfo> info;
        const HRESULT hr = TypeInfo(locale, &info);
        return FAILED(hr) ? hr : info->GetIDsOfNames(names, count, ids);
    }
    STDMETHODIMP Invoke(DISPID member, REFIID, LCID locale, WORD flags, DISPPARAMS* params, VARIANT* result,
                        EXCEPINFO* exception, UINT* badArgument) override {
        CComPtr<ITypeInfo> info;
        const HRESULT hr = TypeInfo(locale, &info);
        if (FAILED(hr))
            return hr;
        // What a method reports must be its own, not left over from an earlier call.
        SetErrorInfo(0, nullptr);
        return info->Invoke(static_cast<T*>(this), member, flags, params, result, exception, badArgument);
    }

protected:
    ~IDispatchImpl() = default;

private:
    static HRESULT TypeInfo(LCID locale, ITypeInfo** info) noexcept {
        try {
            static CComTypeInfoHolder holder(*piid, *plibid, wMajor, wMinor);
            return holder.GetTI(locale, info);
        } catch (const CAtlException& e) {
            return e;
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }
};

} // namespace ATL
