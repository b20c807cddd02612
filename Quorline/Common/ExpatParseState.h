#pragma once

// The generic part of reading an XML file with expat: the loop over the file's blocks and the handlers. A parser for
// one format derives from CExpatParser and keeps a stack of CExpatParseState, one for each open element.

#include "logging/Checks.h"

#include <expat.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

/// An open element: which one it is, and how many children of each kind it has had.
template <std::size_t ChildKinds> struct CExpatParseState {
    std::size_t element;
    std::array<unsigned, ChildKinds> seen{};
};

template <std::size_t ChildKinds> class CExpatParser {
public:
    virtual ~CExpatParser() = default;

    /// Throws CXmlParseException for malformed text, CMorvaneException when the file cannot be opened, COSException
    /// when it cannot be read, and whatever a handler throws.
    void ParseFile(const std::wstring& path) {
        FILE* file = nullptr;
        if (const errno_t error = _wfopen_s(&file, path.c_str(), L"rb"); error != 0)
            SanityCheckFailed(Location(__LINE__), L"fopen_s failed: {0:%d}", error);
        const std::unique_ptr<FILE, CFileCloser> owner(file);
        ParseFile(file);
    }

protected:
    /// Names are valid during the call only. Exceptions reach the caller of ParseFile.
    virtual void HandleStartElement(std::wstring_view name) = 0;
    virtual void HandleEndElement() = 0;
    virtual void HandleCharacterData(std::wstring_view text) = 0;

    /// The file stays open; it is the caller's.
    void ParseFile(FILE* file) {
        if (!file)
            SanityCheckFailed(Location(__LINE__), L"Filehandle is NULL");

        const std::unique_ptr<std::remove_pointer_t<XML_Parser>, CParserFree> parser(XML_ParserCreate(nullptr));
        if (!parser)
            throw std::bad_alloc();
        m_parser = parser.get();
        m_failure = nullptr;
        XML_SetUserData(m_parser, this);
        XML_SetElementHandler(m_parser, &StartElement, &EndElement);
        XML_SetCharacterDataHandler(m_parser, &CharacterData);

        char block[1024];
        for (bool last = false; !last;) {
            const std::size_t size = fread(block, 1, sizeof block, file);
            last = feof(file) != 0;
            if (ferror(file) || (size == 0 && !last))
                CheckCrtError(Location(__LINE__), "fread", EIO);
            const auto status = XML_Parse(m_parser, block, static_cast<int>(size), last);
            if (m_failure)
                std::rethrow_exception(m_failure);
            if (status == XML_STATUS_ERROR)
                throw CXmlParseException(DescribeError());
        }
    }

private:
    struct CFileCloser {
        void operator()(FILE* file) const noexcept { fclose(file); }
    };
    struct CParserFree {
        void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
    };

    static CCodeLocation Location(int line) {
        static const std::string function = "CExpatParser<" + std::to_string(ChildKinds) + ">::ParseFile";
        return {__FILE__, line, function};
    }

    std::wstring DescribeError() const {
        wchar_t text[1024];
        _snwprintf_s(text, std::size(text), _TRUNCATE, L"Parse error at line %d:\n%s\n",
                     static_cast<int>(XML_GetCurrentLineNumber(m_parser)), XML_ErrorString(XML_GetErrorCode(m_parser)));
        return text;
    }

    /// expat's frames cannot be unwound: an exception is kept until expat has returned. Handlers that expat still calls
    /// after the stop do nothing.
    template <class Action> static void Guard(void* userData, Action action) noexcept {
        auto& self = *static_cast<CExpatParser*>(userData);
        if (self.m_failure)
            return;
        try {
            action(self);
        } catch (...) {
            self.m_failure = std::current_exception();
            XML_StopParser(self.m_parser, XML_FALSE);
        }
    }

    static void XMLCALL StartElement(void* userData, const XML_Char* name, const XML_Char**) {
        Guard(userData, [name](CExpatParser& self) { self.HandleStartElement(name); });
    }
    static void XMLCALL EndElement(void* userData, const XML_Char*) {
        Guard(userData, [](CExpatParser& self) { self.HandleEndElement(); });
    }
    static void XMLCALL CharacterData(void* userData, const XML_Char* text, int length) {
        Guard(userData, [=](CExpatParser& self) {
            self.HandleCharacterData({text, static_cast<std::size_t>(length)});
        });
    }

    XML_Parser m_parser = nullptr;
    std::exception_ptr m_failure;
};
