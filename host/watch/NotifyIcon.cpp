#include "NotifyIcon.h"

#include <shellapi.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace {
constexpr UINT IconId = 1;
constexpr UINT HistoryCommand = 1;
constexpr UINT LogCommand = 2;

constexpr std::uint32_t ColourOf(WatchState state) {
    switch (state) {
    case WatchState::Saving:
        return 0xFF1E6FD0; // blue
    case WatchState::Vetoed:
        return 0xFFC62828; // red
    default:
        return 0xFF2E8B45; // green
    }
}

void DeleteBitmap(HBITMAP bitmap) {
    DeleteObject(bitmap);
}
using CUniqueBitmap = CUnique<CNullableTraits<HBITMAP, &DeleteBitmap>>;

/// A ring with a tail, as the initial: in fourths of a pixel, so that edges come out soft.
double Covered(int x, int y, int size) {
    const double centre = size * 0.47;
    const double outer = size * 0.45;
    const double inner = size * 0.24;
    int inside = 0;
    for (int sample = 0; sample < 16; ++sample) {
        const int row = sample / 4;
        const double px = x + (sample % 4 + 0.5) / 4 - centre;
        const double py = y + (row + 0.5) / 4 - centre;
        const double square = px * px + py * py;
        const bool ring = square <= outer * outer && square >= inner * inner;
        const double across = px - py;
        const bool tail = across * across <= size * size * 0.02 && px + py >= size * 0.3 && px + py <= size * 1.0;
        inside += ring || tail ? 1 : 0;
    }
    return inside / 16.0;
}

HICON DrawIcon(WatchState state) {
    const int size = GetSystemMetrics(SM_CXSMICON);
    const std::uint32_t colour = ColourOf(state);
    std::vector<std::uint32_t> pixels;
    for (int y = 0; y < size; ++y)
        for (int x = 0; x < size; ++x)
            pixels.push_back(static_cast<std::uint32_t>(Covered(x, y, size) * 255) << 24 | (colour & 0xFFFFFF));
    // All the transparency is in the colours; bits of a row are padded to words.
    const std::vector<std::uint8_t> mask(static_cast<std::size_t>((size + 15) / 16 * 2 * size));
    ICONINFO info{};
    info.fIcon = TRUE;
    const CUniqueBitmap colours(CreateBitmap(size, size, 1, 32, pixels.data()));
    const CUniqueBitmap bits(CreateBitmap(size, size, 1, 1, mask.data()));
    info.hbmColor = colours.Get();
    info.hbmMask = bits.Get();
    return CreateIconIndirect(&info);
}
} // namespace

CNotifyIcon::~CNotifyIcon() {
    if (m_added)
        Tell(NIM_DELETE);
}

void CNotifyIcon::Show(WatchState state, const std::wstring& text) {
    CUniqueIcon before = std::exchange(m_icon, CUniqueIcon(DrawIcon(state)));
    m_text = text;
    Tell(m_added ? NIM_MODIFY : NIM_ADD);
    m_added = true;
}

void CNotifyIcon::ShowAgain() {
    if (m_added)
        Tell(NIM_ADD);
}

void CNotifyIcon::Tell(DWORD what) const {
    NOTIFYICONDATAW data{};
    data.cbSize = sizeof(data);
    data.hWnd = m_window;
    data.uID = IconId;
    data.uFlags = NIF_ICON | NIF_TIP | NIF_MESSAGE;
    data.uCallbackMessage = m_message;
    data.hIcon = m_icon.Get();
    m_text.copy(data.szTip, std::size(data.szTip) - 1);
    Shell_NotifyIconW(what, &data);
}

CNotifyIcon::Command CNotifyIcon::AskCommand() const {
    using CUniqueMenu = CUnique<CNullableTraits<HMENU, &DestroyMenu>>;
    const CUniqueMenu menu(CreatePopupMenu());
    AppendMenuW(menu.Get(), MF_STRING, HistoryCommand, L"&History");
    AppendMenuW(menu.Get(), MF_STRING, LogCommand, L"Show &log");
    SetMenuDefaultItem(menu.Get(), HistoryCommand, FALSE);
    POINT point{};
    GetCursorPos(&point);
    // Otherwise the menu stays when the user clicks elsewhere.
    SetForegroundWindow(m_window);
    switch (TrackPopupMenu(menu.Get(), TPM_RETURNCMD | TPM_RIGHTBUTTON, point.x, point.y, 0, m_window, nullptr)) {
    case HistoryCommand:
        return Command::History;
    case LogCommand:
        return Command::Log;
    default:
        return Command::None;
    }
}
