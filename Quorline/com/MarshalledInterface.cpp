#include "com/MarshalledInterface.h"

std::shared_ptr<CMarshalledInterface> CMarshalledInterface::Marshal(REFIID iid, IUnknown* object, HRESULT& hr) {
    ATL::CComPtr<IStream> stream;
    hr = CoMarshalInterThreadInterfaceInStream(iid, object, &stream);
    return SUCCEEDED(hr) ? std::shared_ptr<CMarshalledInterface>(new CMarshalledInterface(stream)) : nullptr;
}

CMarshalledInterface::~CMarshalledInterface() {
    if (!m_stream)
        return;
    m_stream->Seek({}, STREAM_SEEK_SET, nullptr);
    CoReleaseMarshalData(m_stream);
}

HRESULT CMarshalledInterface::Unmarshal(REFIID iid, void** object) {
    if (!m_stream)
        return E_UNEXPECTED;
    return CoGetInterfaceAndReleaseStream(m_stream.Detach(), iid, object);
}
