#pragma once

// The questions that the session's objects ask windows, on their way: noted, and answered later or sooner than the
// window would, so that no test waits.
//
//     CWindowQuestions questions;
//     questions.takes = 4000;         // each answer takes 4 seconds, which pass at once
//     window->get_Text(&text);
//     EXPECT_THAT(questions.allowed, ElementsAre(10'000, 6000));

#include "ImportHook.h"
#include "SessionFixture.h"

#include <algorithm>
#include <vector>

class CWindowQuestions {
public:
    CWindowQuestions() { s_current = this; }
    ~CWindowQuestions() { s_current = nullptr; }

    CWindowQuestions(const CWindowQuestions&) = delete;
    CWindowQuestions& operator=(const CWindowQuestions&) = delete;

    UINT takes = 0;                 ///< milliseconds that an answer seems to take
    UINT patience = 60'000;         ///< milliseconds after which a question that really waits is given up
    std::vector<UINT> allowed;      ///< milliseconds that each question might take
    std::vector<std::size_t> rooms; ///< characters of each room for a text
    ULONGLONG passed = 0;           ///< milliseconds on the only clock that the objects see

private:
    static LRESULT WINAPI Ask(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT flags, UINT timeout,
                              PDWORD_PTR answer) {
        CWindowQuestions& questions = *s_current;
        questions.allowed.push_back(timeout);
        if (message == WM_GETTEXT)
            questions.rooms.push_back(wParam);
        questions.passed += std::min(questions.takes, timeout);
        if (questions.takes > timeout) {
            SetLastError(ERROR_TIMEOUT);
            return 0;
        }
        return SendMessageTimeoutW(window, message, wParam, lParam, flags, std::min(timeout, questions.patience),
                                   answer);
    }

    static ULONGLONG WINAPI Now() { return s_current->passed; }

    static inline CWindowQuestions* s_current = nullptr;
    CImportHook m_ask{SessionServer(), "SendMessageTimeoutW", &Ask};
    CImportHook m_now{SessionServer(), "GetTickCount64", &Now};
};
