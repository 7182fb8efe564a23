// Writes one zip archive: deflated or stored entries, directory entries, DOS times, and the
// ZIP64 records where sizes, offsets or the entry count need them. Not exported; used by
// FileUtils::CreateZipFile and DirUtils::CreateZipFile.
//
// The archive is written to a temporary file beside the output and moved into place by Finish,
// so the output is replaced only by a complete archive. The temporary file is marked for deletion
// from its creation until Finish has completed it, so it goes with its handle however the writer
// ends: a failure, the destructor, or a thread ended by TerminateThread (at the end of its process).
// Trees are walked with the wide functions on extended paths, on a stack of the walk's own rather
// than the thread's: any depth, any name; entry names go from UTF-16 straight to UTF-8. An item
// that cannot be read is left out and makes Finish give false; a failure to write the archive
// abandons it.
#pragma once

#include <afx.h>

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

struct z_stream_s;

class ZipWriter
{
public:
    explicit ZipWriter(const char* output);
    ~ZipWriter();
    ZipWriter(const ZipWriter&) = delete;
    ZipWriter& operator=(const ZipWriter&) = delete;

    bool IsOpen() const;
    // Packs a file, or a directory with its tree, under the name given ('\' or '/' between
    // components). What cannot be read is left out, and Finish tells it.
    void AddItem(const CString& path, const CString& archiveName);
    // Packs the tree below dir (extended form, ending in a separator) with prefix in front of
    // each name.
    void AddTree(const std::wstring& dir, const std::wstring& prefix);
    // Adds a directory entry with the time and attributes of the directory at path.
    void AddDirectoryEntry(const std::wstring& path, const std::wstring& archiveName);
    // Writes the central directory and moves the archive into place; for an open writer only. True
    // if the archive is in place and nothing was left out.
    bool Finish();

private:
    struct Entry
    {
        std::string name;  // UTF-8 or ASCII, '/' between components
        unsigned short flags = 0;
        unsigned short method = 0;
        unsigned short dosTime = 0;
        unsigned short dosDate = 0;
        unsigned long crc = 0;
        unsigned long long compressed = 0;
        unsigned long long size = 0;
        unsigned long long offset = 0;
        unsigned long attributes = 0;
    };

    // found: the file's entry of a directory listing, which saves a query.
    void AddFile(const std::wstring& path, const std::wstring& archiveName, const WIN32_FIND_DATAW& found);
    // Packs the open file; the caller closes it.
    void AddOpenFile(HANDLE source, const BY_HANDLE_FILE_INFORMATION& info, const std::wstring& archiveName);
    void AddSmallFile(HANDLE source, unsigned long long limit, Entry& entry);
    bool IsOwnFile(const std::wstring& path) const;
    bool MakeName(const std::wstring& archiveName, bool directory, Entry& entry);
    // Whether the temporary file outlives its handle (its delete disposition cleared).
    bool KeepTemp(bool keep);
    // Renames the open temporary file to the output, replacing what is there.
    bool MoveIntoPlace();
    void WriteLocalHeader(const Entry& entry, bool zip64);
    // Deflates or stores the data, as its first block shrinks or not; false if the source could
    // not be read.
    bool Pack(HANDLE source, unsigned long long limit, Entry& entry);
    bool Store(HANDLE source, unsigned long long limit, Entry& entry);
    void PatchLocalHeader(const Entry& entry, bool zip64);
    void WriteCentralDirectory();

    // The deflate stream, made once and reset for each entry; null if zlib has no memory.
    z_stream_s* Deflater();

    // These do nothing once the archive has failed, and a failure to write or seek makes it fail.
    void Write(const void* data, size_t size);
    void Flush();
    void SeekTo(unsigned long long offset);

    HANDLE m_hFile;
    z_stream_s* m_pStream;
    bool m_bFailed;     // the archive cannot be completed
    bool m_bLeftOut;    // an item was left out
    unsigned long long m_nOffset;  // where the next byte of the archive goes
    std::wstring m_strTemp;        // extended form
    std::wstring m_strOutputFull;  // extended form
    std::vector<unsigned char> m_buffer;
    std::unique_ptr<unsigned char[]> m_pIn;   // a chunk of the file being read
    std::unique_ptr<unsigned char[]> m_pOut;  // what deflate gives for it
    std::vector<Entry> m_entries;
    std::set<std::string> m_names;            // names taken, in upper case
    std::map<std::string, int> m_nextSuffix;  // next " (n)" to try per name
};
