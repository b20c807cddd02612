#include "ScriptExecution/StateChangeScript.h"

#include "com/ComString.h"

#include "HostInterfaces.h"

void CStateChangeScript::Init(IStateChangeScript* script) {
    std::wstring text;
    if (SUCCEEDED(ReadStringProperty(script, &IStateChangeScript::get_Text, text)))
        SetText(text);
}
