#pragma once

// Wide strings in JSON, as UTF-8.

#include "Console.h"

#include <nlohmann/json.hpp>

template <> struct nlohmann::adl_serializer<std::wstring> {
    static void to_json(json& value, const std::wstring& text) { value = ToUtf8(text); }
    static void from_json(const json& value, std::wstring& text) {
        text = FromUtf8(value.get_ref<const std::string&>());
    }
};
