// What the shipped libraries say of their version. Proves the resources.

#include "QuorlineVersion.h"
#include "Registration.h"

#include <gtest/gtest.h>

namespace {
class ShippedLibrary : public testing::TestWithParam<const wchar_t*> {
protected:
    void SetUp() override {
        const std::wstring path = std::filesystem::path(LibraryPath()).replace_filename(GetParam()).wstring();
        m_data.resize(GetFileVersionInfoSizeW(path.c_str(), nullptr));
        ASSERT_FALSE(m_data.empty()) << GetLastError();
        ASSERT_TRUE(GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(m_data.size()), m_data.data()));
    }

    template <class T> const T* Value(const wchar_t* name) {
        void* value = nullptr;
        UINT size = 0;
        return VerQueryValueW(m_data.data(), name, &value, &size) ? static_cast<const T*>(value) : nullptr;
    }

    std::vector<BYTE> m_data;
};

std::vector<WORD> Fields(DWORD high, DWORD low) {
    return {HIWORD(high), LOWORD(high), HIWORD(low), LOWORD(low)};
}
} // namespace

TEST_P(ShippedLibrary, CarriesTheProjectsVersion) {
    const std::vector<WORD> version{QUORLINE_VERSION_FIELDS};
    const auto* fixed = Value<VS_FIXEDFILEINFO>(L"\\");
    ASSERT_NE(fixed, nullptr);
    EXPECT_EQ(Fields(fixed->dwFileVersionMS, fixed->dwFileVersionLS), version);
    EXPECT_EQ(Fields(fixed->dwProductVersionMS, fixed->dwProductVersionLS), version);
    EXPECT_STREQ(Value<wchar_t>(L"\\StringFileInfo\\040904B0\\FileVersion"), L"" QUORLINE_FILE_VERSION);
    EXPECT_STREQ(Value<wchar_t>(L"\\StringFileInfo\\040904B0\\ProductVersion"), L"" QUORLINE_PRODUCT_VERSION);
}

INSTANTIATE_TEST_SUITE_P(Everywhere, ShippedLibrary,
                         testing::Values(L"Quorline.dll", L"QuorlineHost.dll", L"QuorlineSigner.dll"));
