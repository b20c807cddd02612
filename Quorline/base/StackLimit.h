#pragma once

// What scripts may use of a thread's stack. A script that calls itself without end is in error; the process that runs
// it is not to end for it.
//
//     HRESULT hr = E_FAIL;
//     if (!RunWithinStack([&] { hr = engine->SetScriptState(SCRIPTSTATE_CONNECTED); }))
//         ... it ran out of stack; nothing that it had begun was ended, whatever its frames held is lost ...
//
// On the calling thread, which has its stack back afterwards. Exceptions pass.

#include <memory>

/// False on a stack that is nearly used up. A callee that takes a lock asks before it does: running out of stack would
/// leave the lock taken.
bool HasStackForCall() noexcept;

/// The plain form, for a function with its argument.
bool RunWithinStack(void (*function)(void*), void* argument);

template <class Action> bool RunWithinStack(Action action) {
    return RunWithinStack([](void* given) { (*static_cast<Action*>(given))(); }, std::addressof(action));
}
