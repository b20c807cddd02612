#pragma once

// The window that lists saved documents and asks whether to restore them.

#include "SavedDocuments.h"

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

/// What the user wants. Called on the window's thread.
struct CRestoreAnswers {
    /// The ticked documents are to be restored; the window is gone.
    std::function<void(const std::vector<CSavedDocument>&)> onRestore;
    /// Nothing is to be restored; the window is gone.
    std::function<void()> onNotNow;
    /// Show where a document lies; the window stays.
    std::function<void(const CSavedDocument&)> onShowFolder;
};

/// One window; closed with the object.
class CRestoreWindow {
public:
    CRestoreWindow() = default;
    ~CRestoreWindow() { Close(); }
    CRestoreWindow(const CRestoreWindow&) = delete;
    CRestoreWindow& operator=(const CRestoreWindow&) = delete;

    /// In place of what it lists, if it is open. Returns at once; false when it cannot be opened. Documents that were
    /// recovered are listed without a tick.
    bool Open(const std::wstring& text, std::vector<CSavedDocument> documents, CRestoreAnswers answers);
    void Close();

private:
    static INT_PTR CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void Fill(const std::wstring& text) const;
    void OnCommand(WORD command);
    std::vector<CSavedDocument> Ticked() const;

    HWND m_window = nullptr;
    std::vector<CSavedDocument> m_documents;
    CRestoreAnswers m_answers;
};
