#include "RestoreWindow.h"

#include "base/SystemFunction.h"
#include "WatchResource.h"

#include <commctrl.h>

#include <utility>

namespace {
HWND ListOf(HWND window) {
    return GetDlgItem(window, IDC_DOCUMENTS);
}

void AddColumn(HWND list, int index, const wchar_t* title, int width) {
    std::wstring text = title;
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH;
    column.cx = width;
    column.pszText = text.data();
    SendMessageW(list, LVM_INSERTCOLUMNW, static_cast<WPARAM>(index), reinterpret_cast<LPARAM>(&column));
}

void AddRow(HWND list, int row, const CSavedDocument& document) {
    std::wstring texts[] = {document.application, document.name, document.Time()};
    LVITEMW item{};
    item.mask = LVIF_TEXT;
    item.iItem = row;
    for (item.iSubItem = 0; item.iSubItem < 3; ++item.iSubItem) {
        item.pszText = texts[item.iSubItem].data();
        SendMessageW(list, item.iSubItem == 0 ? LVM_INSERTITEMW : LVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&item));
    }
    ListView_SetCheckState(list, row, document.recovered ? FALSE : TRUE);
}
} // namespace

bool CRestoreWindow::Open(const std::wstring& text, std::vector<CSavedDocument> documents, CRestoreAnswers answers) {
    Close();
    INITCOMMONCONTROLSEX controls{sizeof(controls), ICC_LISTVIEW_CLASSES};
    // Without its list there is no such window.
    const auto initControls =
        FindSystemFunction<decltype(InitCommonControlsEx)>(L"comctl32.dll", "InitCommonControlsEx");
    if (initControls == nullptr || !initControls(&controls))
        return false;
    m_documents = std::move(documents);
    m_answers = std::move(answers);
    m_window = CreateDialogParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(IDD_DOCUMENTS), nullptr, &Procedure,
                                  reinterpret_cast<LPARAM>(this));
    if (m_window == nullptr)
        return false;
    Fill(text);
    SetForegroundWindow(m_window);
    return true;
}

void CRestoreWindow::Close() {
    if (HWND window = std::exchange(m_window, nullptr))
        DestroyWindow(window);
}

void CRestoreWindow::Fill(const std::wstring& text) const {
    SetDlgItemTextW(m_window, IDC_TEXT, text.c_str());
    HWND list = ListOf(m_window);
    ListView_SetExtendedListViewStyle(list, LVS_EX_CHECKBOXES | LVS_EX_FULLROWSELECT);
    RECT area{};
    GetClientRect(list, &area);
    const int width = area.right - GetSystemMetrics(SM_CXVSCROLL);
    AddColumn(list, 0, L"Application", width * 3 / 10);
    AddColumn(list, 1, L"Document", width * 4 / 10);
    AddColumn(list, 2, L"Saved", width * 3 / 10);
    for (std::size_t i = 0; i < m_documents.size(); ++i)
        AddRow(list, static_cast<int>(i), m_documents[i]);
}

std::vector<CSavedDocument> CRestoreWindow::Ticked() const {
    std::vector<CSavedDocument> ticked;
    for (std::size_t i = 0; i < m_documents.size(); ++i)
        if (ListView_GetCheckState(ListOf(m_window), static_cast<int>(i)) != 0)
            ticked.push_back(m_documents[i]);
    return ticked;
}

void CRestoreWindow::OnCommand(WORD command) {
    // What is called may open this window anew.
    const CRestoreAnswers answers = m_answers;
    switch (command) {
    case IDC_RESTORE: {
        const auto ticked = Ticked();
        Close();
        answers.onRestore(ticked);
        break;
    }
    case IDC_SHOW_FOLDER: {
        const auto row = SendMessageW(ListOf(m_window), LVM_GETNEXTITEM, static_cast<WPARAM>(-1), LVNI_SELECTED);
        if (!m_documents.empty())
            answers.onShowFolder(m_documents[row < 0 ? 0 : static_cast<std::size_t>(row)]);
        break;
    }
    case IDCANCEL:
        Close();
        answers.onNotNow();
        break;
    default:
        break;
    }
}

INT_PTR CALLBACK CRestoreWindow::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_INITDIALOG) {
        SetWindowLongPtrW(window, GWLP_USERDATA, lParam);
        return TRUE;
    }
    auto* self = reinterpret_cast<CRestoreWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message != WM_COMMAND || self == nullptr || self->m_window != window)
        return FALSE;
    self->OnCommand(LOWORD(wParam));
    return TRUE;
}
