#pragma once

// The generic part of reading XML with expat: the loop over a file's blocks, blocks that are in memory already, and the
// handlers. A parser for one format derives from CExpatParser, keeps a stack of CExpatParseState, one for each open
// element, and reads one document:
//
//     CDocumentStoreXmlParser(info).ParseFile(path);
//     CDocumentStoreXmlParser(info).Parse(bytes, true);

#include "base/UniqueHandle.h"
#include "logging/Checks.h"

#include <expat.h>

#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

template <std::size_t ChildKinds> class CExpatParser {
public:
    virtual ~CExpatParser() = default;

    /// Throws CXmlParseException for malformed text, CMorvaneException when the file cannot be opened, COSException
    /// when it cannot be read, and whatever a handler throws.
    void ParseFile(const std::wstring& path) {
        FILE* file = nullptr;
        if (const errno_t error = _wfopen_s(&file, path.c_str(), L"rb"); error != 0)
            SanityCheckFailed(Location(__LINE__), L"fopen_s failed: {0:%d}", error);
        char buffer[32'768]; // each reading takes longer than parsing what the runtime would make room for
        const CUniqueStream owner(file);
        if (file)
            setvbuf(file, buffer, _IOFBF, sizeof buffer);
        ParseFile(file);
    }

    /// Parses the document's next block, of any size; blocks may end anywhere. Throws CXmlParseException for malformed
    /// text, and whatever a handler throws; there is nothing more to parse then.
    void Parse(std::string_view block, bool last) {
        if (!m_parser)
            Start();
        do {
            const std::string_view piece = block.substr(0, LongestPiece);
            block.remove_prefix(piece.size());
            const auto status =
                XML_Parse(m_parser.get(), piece.data(), static_cast<int>(piece.size()), last && block.empty());
            if (m_failure)
                std::rethrow_exception(m_failure);
            if (status == XML_STATUS_ERROR)
                throw CXmlParseException(DescribeError());
        } while (!block.empty());
    }

protected:
    /// Names are valid during the call only. Exceptions reach the caller of Parse and ParseFile.
    virtual void HandleStartElement(std::wstring_view name) = 0;
    virtual void HandleEndElement() = 0;
    virtual void HandleCharacterData(std::wstring_view text) = 0;

    /// Whether the text that follows is handed over, as it is until told otherwise. What nobody wants, most of it the
    /// white space between the tags, expat then need not convert.
    void WantCharacterData(bool wanted) {
        if (m_parser && wanted != m_wantsText)
            XML_SetCharacterDataHandler(m_parser.get(), wanted ? &CharacterData : nullptr);
        m_wantsText = wanted;
    }

    /// The file stays open; it is the caller's.
    void ParseFile(FILE* file) {
        if (!file)
            SanityCheckFailed(Location(__LINE__), L"Filehandle is NULL");

        char block[1024];
        for (bool last = false; !last;) {
            const std::size_t size = fread(block, 1, sizeof block, file);
            last = feof(file) != 0;
            if (ferror(file) || (size == 0 && !last))
                CheckCrtError(Location(__LINE__), "fread", EIO);
            Parse({block, size}, last);
        }
    }

private:
    struct CParserFree {
        void operator()(XML_Parser parser) const noexcept { XML_ParserFree(parser); }
    };

    static constexpr std::size_t LongestPiece = 1 << 20; // expat counts a piece's bytes in an int

    static CCodeLocation Location(int line) {
        static const std::string function = "CExpatParser<" + std::to_string(ChildKinds) + ">::ParseFile";
        return {__FILE__, line, function};
    }

    void Start() {
        m_parser.reset(XML_ParserCreate(nullptr));
        if (!m_parser)
            throw std::bad_alloc();
        XML_SetUserData(m_parser.get(), this);
        XML_SetElementHandler(m_parser.get(), &StartElement, &EndElement);
        XML_SetCharacterDataHandler(m_parser.get(), m_wantsText ? &CharacterData : nullptr);
    }

    std::wstring DescribeError() const {
        wchar_t text[1024];
        _snwprintf_s(text, std::size(text), _TRUNCATE, L"Parse error at line %d:\n%s\n",
                     static_cast<int>(XML_GetCurrentLineNumber(m_parser.get())),
                     XML_ErrorString(XML_GetErrorCode(m_parser.get())));
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
            XML_StopParser(self.m_parser.get(), XML_FALSE);
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

    std::unique_ptr<std::remove_pointer_t<XML_Parser>, CParserFree> m_parser;
    std::exception_ptr m_failure;
    bool m_wantsText = true;
};
