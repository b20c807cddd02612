#pragma once

// Writes a store's info file. Every failure is an exception: COSException for the file and the identifiers,
// CMorvaneException for a state change type that cannot be written.
//
// The text goes into a file beside it, which then takes its place in one step: whenever the machine or the process
// stops, the old record or the new one is there, whole. Only where the info file cannot be replaced, because something
// has it open, it is written in place.
//
// Values go into the file unescaped and as the format text of a print ("%d" in a name comes out as "0"); a value with
// "&" or "<" makes a file that cannot be read back. Text is UTF-8, lines end in CR LF.

#include "base/UniqueHandle.h"
#include "ScriptExecution/DocumentStoreWriter.h"

#include <string>
#include <string_view>

class CInfoFileBytes;
class CInternalDocumentStore;
class CStateChangeInstance;

class QUORLINE_API CDocumentStoreXMLWriter : public CDocumentStoreWriter {
public:
    explicit CDocumentStoreXMLWriter(std::wstring path) : m_path(std::move(path)) {}

    /// Rewrites the file whole, in one write. The state change section is written only when the info has a state
    /// change. One of a type that cannot be written leaves the file written up to there; where the system fails, the
    /// file stays as it was. It is left open until Close.
    void WriteDocumentStore(CDocumentStoreInfo& info) override;

    /// The complete info file of a store, in its storage directory, which must exist; the state change may be null.
    static void WriteDocumentStore(CInternalDocumentStore* pStore, CStateChangeInstance* pStateChange);

    void Close() { m_file.Reset(); }

    /// Where the new text stands until it takes the file's place. What a process that was ended left there is
    /// overwritten by the next one.
    static std::wstring GetSiblingPath(const std::wstring& path) { return path + L".new"; }

    /// One open element: its tag on construction, its closing tag on destruction, each behind the depth's tabs.
    class QUORLINE_API CContext {
    public:
        /// Throws CMorvaneException ("indenting too deep") at the largest depth, with nothing written.
        CContext(int& depth, const wchar_t* name, std::wstring& file);
        /// Throws CMorvaneException ("negative indent level") when the depth is 0. Writes nothing while an exception
        /// passes, so that a failed file ends where the failure happened.
        // NOLINTNEXTLINE(bugprone-exception-escape): it says that it may.
        ~CContext() noexcept(false);

        CContext(const CContext&) = delete;
        CContext& operator=(const CContext&) = delete;

        void WriteValue(const std::wstring& value);

    private:
        void IncrementIndent();
        void DecrementIndent();
        void WriteTabs() { m_file.append(static_cast<std::size_t>(m_depth), L'\t'); }

        int& m_depth;
        const wchar_t* m_name;
        std::wstring& m_file;
        int m_exceptions;
    };

private:
    friend class CInternalDocumentStore; // keeps the text of its last file

    /// As above, making anew what has changed since the same text was written last.
    void WriteDocumentStore(CDocumentStoreInfo& info, CInfoFileBytes& file);
    void Open();
    bool Replace(std::string_view bytes);
    void WriteInPlace(std::string_view bytes);

    CUniqueDescriptor m_file;
    std::wstring m_path;
};
