#pragma once

// An interface on its way from one COM apartment to another. Unmarshalled at most once; when nobody comes for it, what
// the stream holds is given back.

#include <atlcomcli.h>

#include <memory>

class CMarshalledInterface {
public:
    /// On the thread that has the interface. Returns null, with the reason in hr, when it cannot be marshalled.
    static std::shared_ptr<CMarshalledInterface> Marshal(REFIID iid, IUnknown* object, HRESULT& hr);

    ~CMarshalledInterface();
    CMarshalledInterface(const CMarshalledInterface&) = delete;
    CMarshalledInterface& operator=(const CMarshalledInterface&) = delete;

    /// On the thread that wants it: one reference for the caller. The stream is used up, whatever the result.
    HRESULT Unmarshal(REFIID iid, void** object);

private:
    CMarshalledInterface() = default;

    ATL::CComPtr<IStream> m_stream; // null before it is marshalled and once it is unmarshalled
};
