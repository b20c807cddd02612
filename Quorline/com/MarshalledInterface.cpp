#include "com/MarshalledInterface.h"

std::shared_ptr<CMarshalledInterface> CMarshalledInterface::Marshal(REFIID iid, IUnknown* object, HRESULT& hr) {
    // First, so that nothing can fail any more when the stream holds its reference.
    std::shared_ptr<CMarshalledInterface> marshalled(new CMarshalledInterface());
    hr = CoMarshalInterThreadInterfaceInStream(iid, object, &marshalled->m_stream);
    return SUCCEEDED(hr) ? marshalled : nullptr;
}

CMarshalledInterface::~CMarshalledInterface() {
    if (m_stream)
        CoReleaseMarshalData(m_stream);
}

HRESULT CMarshalledInterface::Unmarshal(REFIID iid, void** object) {
    if (!m_stream)
        return E_UNEXPECTED;
    return CoGetInterfaceAndReleaseStream(m_stream.Detach(), iid, object);
}
