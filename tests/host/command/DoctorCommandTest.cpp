// The commands that look after the machine: register and unregister. Proves
// RegisterCommand and Registration.

#include "CommandFixture.h"

#include "certificates/CertificateBuilder.h"

#include <nlohmann/json.hpp>

namespace {
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using DoctorCommand = CommandTest;

/// Another text, or none, for a value of the registry that is there.
class CChangedValue {
public:
    CChangedValue(HKEY root, const wchar_t* key, const wchar_t* name, const wchar_t* text) : m_name(name) {
        RegOpenKeyExW(root, key, 0, KEY_READ | KEY_WRITE, m_key.Put());
        DWORD size = 0;
        RegQueryValueExW(m_key.Get(), name, nullptr, &m_type, nullptr, &size);
        m_old.resize(size);
        EXPECT_EQ(RegQueryValueExW(m_key.Get(), name, nullptr, &m_type, m_old.data(), &size), ERROR_SUCCESS) << key;
        if (text == nullptr)
            RegDeleteValueW(m_key.Get(), name);
        else
            RegSetKeyValueW(m_key.Get(), nullptr, name, REG_SZ, text,
                            static_cast<DWORD>((std::wcslen(text) + 1) * sizeof(wchar_t)));
    }
    ~CChangedValue() { RegSetValueExW(m_key.Get(), m_name, 0, m_type, m_old.data(), static_cast<DWORD>(m_old.size())); }
    CChangedValue(const CChangedValue&) = delete;
    CChangedValue& operator=(const CChangedValue&) = delete;

private:
    const wchar_t* m_name;
    CUniqueRegKey m_key;
    std::vector<BYTE> m_old;
    DWORD m_type = REG_SZ;
};
} // namespace

TEST_F(DoctorCommand, RegisterPutsBackWhatUnregisterTookOut) {
    PutApps();
    const CProgramResult taken = RunQuorline(L"unregister");
    ASSERT_EQ(taken.exitCode, 0u) << taken.err;
    EXPECT_THAT(taken.out, HasSubstr("Quorline.dll: unregistered"));
    EXPECT_EQ(Save().exitCode, 4u);
    const CProgramResult registered = RunQuorline(L"register --json");
    EXPECT_EQ(registered.exitCode, 0u) << registered.err;
    const auto components = nlohmann::json::parse(registered.out)["components"];
    ASSERT_EQ(components.size(), 3u);
    for (const auto& component : components)
        EXPECT_EQ(component["done"], true) << component;
    EXPECT_THAT(components[1]["file"], HasSubstr("QuorlineHost.dll"));
    EXPECT_EQ(Save().exitCode, 0u);
    EXPECT_THAT(RunQuorline(L"register --quiet").out, IsEmpty());
}
