#include "weftbase/ZipWriter.h"

#include "weftbase/Crc32.h"
#include "weftbase/PathText.h"

#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>

namespace
{
constexpr unsigned long LocalHeaderSignature = 0x04034b50;
constexpr unsigned long CentralHeaderSignature = 0x02014b50;
constexpr unsigned long EndSignature = 0x06054b50;
constexpr unsigned long Zip64EndSignature = 0x06064b50;
constexpr unsigned long Zip64LocatorSignature = 0x07064b50;
constexpr unsigned short Zip64ExtraId = 0x0001;
constexpr unsigned short MethodStored = 0;
constexpr unsigned short MethodDeflated = 8;
constexpr unsigned short FlagUtf8Name = 0x0800;
constexpr unsigned short VersionDefault = 20;  // deflate and directory entries
constexpr unsigned short VersionZip64 = 45;
constexpr unsigned long long Max32 = 0xFFFFFFFFull;
constexpr unsigned long long Max16 = 0xFFFFull;
constexpr size_t ChunkSize = 1 << 20;
// Deflate's output for a chunk, with room for its worst growth.
constexpr size_t OutSize = ChunkSize + ChunkSize / 8;
// What decides between deflate and store for a file past one chunk: a file system's compression
// unit, and before it a first look that noise fails at once.
constexpr size_t ProbeSize = 64 << 10;
constexpr size_t FirstLook = 4 << 10;
constexpr DWORD DosAttributeMask = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM |
                                   FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_ARCHIVE;

class Bytes
{
public:
    void Put16(unsigned long long v) { PutN(v, 2); }
    void Put32(unsigned long long v) { PutN(v, 4); }
    void Put64(unsigned long long v) { PutN(v, 8); }
    void Put(const std::string& s) { m_data.insert(m_data.end(), s.begin(), s.end()); }
    void Put(const Bytes& b) { m_data.insert(m_data.end(), b.m_data.begin(), b.m_data.end()); }
    const unsigned char* Data() const { return m_data.data(); }
    size_t Size() const { return m_data.size(); }

private:
    void PutN(unsigned long long v, int n)
    {
        for (int i = 0; i < n; ++i)
            m_data.push_back(static_cast<unsigned char>(v >> (8 * i)));
    }
    std::vector<unsigned char> m_data;
};

// Local time of a file time in the MS-DOS form, which covers 1980 to 2107 in steps of two seconds;
// times outside, and times that cannot be converted, are held at the nearer end.
void DosTime(const FILETIME& fileTime, unsigned short& time, unsigned short& date)
{
    SYSTEMTIME utc = {}, local = {};
    if (!::FileTimeToSystemTime(&fileTime, &utc) || !::SystemTimeToTzSpecificLocalTime(nullptr, &utc, &local) ||
        local.wYear < 1980)
    {
        local = {};
        local.wYear = 1980, local.wMonth = 1, local.wDay = 1;
    }
    else if (local.wYear > 2107)
    {
        local.wYear = 2107, local.wMonth = 12, local.wDay = 31;
        local.wHour = 23, local.wMinute = 59, local.wSecond = 59;  // the two-second steps give :58
    }
    time = static_cast<unsigned short>((local.wHour << 11) | (local.wMinute << 5) | (local.wSecond / 2));
    date = static_cast<unsigned short>(((local.wYear - 1980) << 9) | (local.wMonth << 5) | local.wDay);
}

std::string Utf8(const std::wstring& wide)
{
    const int n = ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), nullptr, 0,
                                        nullptr, nullptr);
    std::string text(static_cast<size_t>(std::max(n, 0)), '\0');
    if (n > 0)
        ::WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), text.data(), n, nullptr,
                              nullptr);
    return text;
}

bool ReadChunk(HANDLE source, unsigned char* buffer, unsigned long long left, DWORD& got)
{
    const DWORD want = static_cast<DWORD>(std::min<unsigned long long>(left, ChunkSize));
    return ::ReadFile(source, buffer, want, &got, nullptr) != FALSE;
}
}  // namespace

ZipWriter::ZipWriter(const char* output)
    : m_hFile(INVALID_HANDLE_VALUE), m_pStream(nullptr), m_bFailed(false), m_bLeftOut(false), m_nOffset(0)
{
    if (!PathText::FitsLimit(output))
        return;
    m_strOutputFull = PathText::Extended(PathText::Wide(output));
    const std::wstring dir = m_strOutputFull.substr(0, m_strOutputFull.find_last_of(L"\\/") + 1);
    static std::atomic<unsigned long> s_nTemps;
    for (int attempt = 0; attempt < 16 && m_hFile == INVALID_HANDLE_VALUE; ++attempt)
    {
        m_strTemp = dir + L"wzp" + std::to_wstring(::GetCurrentProcessId()) + L"-" + std::to_wstring(++s_nTemps) +
                    L".tmp";
        m_hFile = ::CreateFileW(m_strTemp.c_str(), GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
        if (::GetLastError() != ERROR_FILE_EXISTS)
            break;
    }
    if (m_hFile == INVALID_HANDLE_VALUE)
        return;
    if (!KeepTemp(false))
    {
        ::CloseHandle(m_hFile);
        ::DeleteFileW(m_strTemp.c_str());
        m_hFile = INVALID_HANDLE_VALUE;
        return;
    }
    // Kept from file to file, and never cleared: fresh buffers, or pages touched for nothing, can
    // cost more than a small file takes.
    m_buffer.reserve(ChunkSize);
    m_pIn.reset(new (std::nothrow) unsigned char[ChunkSize]);
    m_pOut.reset(new (std::nothrow) unsigned char[OutSize]);
    if (!m_pIn || !m_pOut)
    {
        ::CloseHandle(m_hFile);
        m_hFile = INVALID_HANDLE_VALUE;
    }
}

ZipWriter::~ZipWriter()
{
    if (m_pStream)
    {
        deflateEnd(m_pStream);
        delete m_pStream;
    }
    // An unfinished temporary file goes with its handle.
    if (m_hFile != INVALID_HANDLE_VALUE)
        ::CloseHandle(m_hFile);
}

bool ZipWriter::KeepTemp(bool keep)
{
    FILE_DISPOSITION_INFO disposition = {static_cast<BOOLEAN>(!keep)};
    return ::SetFileInformationByHandle(m_hFile, FileDispositionInfo, &disposition, sizeof disposition) != FALSE;
}

bool ZipWriter::MoveIntoPlace()
{
    const size_t bytes = m_strOutputFull.size() * sizeof(wchar_t);
    std::vector<unsigned char> buffer(sizeof(FILE_RENAME_INFO) + bytes);
    FILE_RENAME_INFO* rename = reinterpret_cast<FILE_RENAME_INFO*>(buffer.data());
    rename->ReplaceIfExists = TRUE;
    rename->RootDirectory = nullptr;
    rename->FileNameLength = static_cast<DWORD>(bytes);
    std::copy(m_strOutputFull.begin(), m_strOutputFull.end(), rename->FileName);
    return ::SetFileInformationByHandle(m_hFile, FileRenameInfo, rename, static_cast<DWORD>(buffer.size())) != FALSE;
}

z_stream_s* ZipWriter::Deflater()
{
    if (m_pStream)
        return deflateReset(m_pStream) == Z_OK ? m_pStream : nullptr;
    z_stream* stream = new (std::nothrow) z_stream();
    if (!stream)
        return nullptr;
    if (deflateInit2(stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
    {
        delete stream;
        return nullptr;
    }
    m_pStream = stream;
    return m_pStream;
}

bool ZipWriter::IsOpen() const
{
    return m_hFile != INVALID_HANDLE_VALUE;
}

bool ZipWriter::IsOwnFile(const std::wstring& path) const
{
    const auto same = [&path](const std::wstring& other) {
        return ::CompareStringOrdinal(path.c_str(), static_cast<int>(path.size()), other.c_str(),
                                      static_cast<int>(other.size()), TRUE) == CSTR_EQUAL;
    };
    return same(m_strOutputFull) || same(m_strTemp);
}

void ZipWriter::AddItem(const CString& path, const CString& archiveName)
{
    if (m_bFailed)
        return;
    const std::wstring full = PathText::Extended(PathText::Wide(path));
    // One open serves both to tell a file from a directory and to read the file.
    HANDLE source = PathText::FitsLimit(path)
                        ? ::CreateFileW(full.c_str(), GENERIC_READ,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_SEQUENTIAL_SCAN | FILE_FLAG_BACKUP_SEMANTICS, nullptr)
                        : INVALID_HANDLE_VALUE;
    BY_HANDLE_FILE_INFORMATION info;
    if (source == INVALID_HANDLE_VALUE || !::GetFileInformationByHandle(source, &info))
    {
        if (source != INVALID_HANDLE_VALUE)
            ::CloseHandle(source);
        m_bLeftOut = true;
        return;
    }
    const std::wstring name = PathText::Wide(archiveName);
    if (!(info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY))
    {
        if (!IsOwnFile(full))
            AddOpenFile(source, info, name);
        ::CloseHandle(source);
        return;
    }
    ::CloseHandle(source);
    AddDirectoryEntry(full, name);
    AddTree(full.back() == L'\\' || full.back() == L'/' ? full : full + L"\\", name + L"/");
}

void ZipWriter::AddTree(const std::wstring& dir, const std::wstring& prefix)
{
    // The open listings wait on a stack of their own, so the thread's stack bounds no depth.
    struct Listing
    {
        HANDLE find;
        std::wstring dir, prefix;
        WIN32_FIND_DATAW data;  // the entry to take next
    };
    std::vector<Listing> open;
    const auto enter = [this, &open](const std::wstring& folder, const std::wstring& names) {
        open.push_back({INVALID_HANDLE_VALUE, folder, names, {}});
        open.back().find = ::FindFirstFileW((folder + L"*").c_str(), &open.back().data);
        if (open.back().find == INVALID_HANDLE_VALUE)
        {
            open.pop_back();
            m_bLeftOut = true;
        }
    };
    enter(dir, prefix);
    while (!open.empty() && !m_bFailed)
    {
        Listing& listing = open.back();
        const WIN32_FIND_DATAW data = listing.data;
        const std::wstring name(data.cFileName), full = listing.dir + name, inArchive = listing.prefix + name;
        if (!::FindNextFileW(listing.find, &listing.data))
        {
            ::FindClose(listing.find);
            open.pop_back();
        }
        if (name == L"." || name == L"..")
            continue;
        if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)
        {
            AddDirectoryEntry(full, inArchive);
            // A junction or link is kept as an empty directory: following it could pack a tree
            // twice, or without end.
            if (!(data.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT))
                enter(full + L"\\", inArchive + L"/");
        }
        else if (!IsOwnFile(full))
            AddFile(full, inArchive, data);
    }
    for (const Listing& listing : open)
        ::FindClose(listing.find);
}

bool ZipWriter::MakeName(const std::wstring& archiveName, bool directory, Entry& entry)
{
    // Components joined by '/', without empty ones, "." and "..", and without a drive: no entry
    // may point outside the folder it is unpacked into.
    std::wstring wide;
    size_t start = 0;
    while (start <= archiveName.size())
    {
        size_t end = archiveName.find_first_of(L"\\/", start);
        if (end == std::wstring::npos)
            end = archiveName.size();
        const std::wstring part = archiveName.substr(start, end - start);
        if (!part.empty() && part != L"." && part != L".." && part.back() != L':')
            wide += wide.empty() ? part : L"/" + part;
        start = end + 1;
    }
    if (wide.empty())
        return false;
    if (directory)
        wide += L'/';
    entry.name = Utf8(wide);
    entry.flags = 0;
    for (unsigned char c : entry.name)
        if (c >= 0x80)
            entry.flags = FlagUtf8Name;
    std::wstring upper = wide;
    if (!upper.empty())
        ::CharUpperBuffW(upper.data(), static_cast<DWORD>(upper.size()));
    std::string key = Utf8(upper);
    if (m_names.count(key))
    {
        if (directory)
            return false;  // the directory is in the archive already
        // Another item took this name: keep both, the later as "name (n).ext".
        const size_t slash = entry.name.rfind('/');
        const size_t dot = entry.name.rfind('.');
        const size_t cut = (dot != std::string::npos && (slash == std::string::npos || dot > slash + 1))
                               ? dot
                               : entry.name.size();
        const size_t keyCut = key.size() - (entry.name.size() - cut);
        int& next = m_nextSuffix.try_emplace(key, 2).first->second;
        std::string candidate, candidateKey;
        do
        {
            const std::string suffix = " (" + std::to_string(next++) + ")";
            candidate = entry.name.substr(0, cut) + suffix + entry.name.substr(cut);
            candidateKey = key.substr(0, keyCut) + suffix + key.substr(keyCut);
        } while (m_names.count(candidateKey));
        entry.name = candidate;
        key = candidateKey;
    }
    if (entry.name.size() > Max16)
        return false;
    m_names.insert(key);
    return true;
}

void ZipWriter::AddDirectoryEntry(const std::wstring& path, const std::wstring& archiveName)
{
    if (m_bFailed)
        return;
    Entry entry;
    if (!MakeName(archiveName, true, entry))
        return;
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    if (!::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data))
        data.dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
    DosTime(data.ftLastWriteTime, entry.dosTime, entry.dosDate);
    entry.method = MethodStored;
    entry.attributes = (data.dwFileAttributes & DosAttributeMask) | FILE_ATTRIBUTE_DIRECTORY;
    entry.offset = m_nOffset;
    WriteLocalHeader(entry, false);
    m_entries.push_back(entry);
}

void ZipWriter::AddFile(const std::wstring& path, const std::wstring& archiveName, const WIN32_FIND_DATAW& found)
{
    if (m_bFailed)
        return;
    HANDLE source = ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                  nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (source == INVALID_HANDLE_VALUE)
    {
        m_bLeftOut = true;
        return;
    }
    // What the directory listing said is what a query of the open file would say.
    BY_HANDLE_FILE_INFORMATION info = {};
    info.dwFileAttributes = found.dwFileAttributes;
    info.ftLastWriteTime = found.ftLastWriteTime;
    info.nFileSizeHigh = found.nFileSizeHigh;
    info.nFileSizeLow = found.nFileSizeLow;
    AddOpenFile(source, info, archiveName);
    ::CloseHandle(source);
}

void ZipWriter::AddOpenFile(HANDLE source, const BY_HANDLE_FILE_INFORMATION& info, const std::wstring& archiveName)
{
    Entry entry;
    if (!MakeName(archiveName, false, entry))
    {
        m_bLeftOut = true;
        return;
    }
    // The size at the start bounds what is read, so the header's form (ZIP64 or not) is known
    // before the data; a file that grows meanwhile is packed as it was when it was opened.
    const unsigned long long limit = (static_cast<unsigned long long>(info.nFileSizeHigh) << 32) | info.nFileSizeLow;
    const bool zip64 = limit >= Max32;
    DosTime(info.ftLastWriteTime, entry.dosTime, entry.dosDate);
    entry.attributes = info.dwFileAttributes & DosAttributeMask & ~static_cast<DWORD>(FILE_ATTRIBUTE_DIRECTORY);
    entry.offset = m_nOffset;
    if (limit <= ChunkSize)
        return AddSmallFile(source, limit, entry);
    entry.method = MethodDeflated;
    WriteLocalHeader(entry, zip64);
    const unsigned long long dataStart = m_nOffset;
    bool readable = Pack(source, limit, entry);
    // The first block shrank and the whole did not: store it as it is after all.
    if (readable && !m_bFailed && entry.method == MethodDeflated && entry.compressed >= entry.size)
    {
        LARGE_INTEGER start = {};
        SeekTo(dataStart);
        readable = ::SetFilePointerEx(source, start, nullptr, FILE_BEGIN) && Store(source, entry.size, entry);
    }
    if (m_bFailed)
        return;
    if (!readable)
    {
        // Take the partial entry back out of the archive.
        m_bLeftOut = true;
        SeekTo(entry.offset);
        return;
    }
    PatchLocalHeader(entry, zip64);
    m_entries.push_back(entry);
}

void ZipWriter::AddSmallFile(HANDLE source, unsigned long long limit, Entry& entry)
{
    // Read and compressed in memory, so the header goes out complete and nothing is patched.
    DWORD got;
    size_t read = 0;
    while (read < limit)
    {
        if (!::ReadFile(source, m_pIn.get() + read, static_cast<DWORD>(limit - read), &got, nullptr))
        {
            m_bLeftOut = true;
            return;
        }
        if (got == 0)
            break;
        read += got;
    }
    entry.size = read;
    entry.crc = Crc32::Update(0, m_pIn.get(), read);
    size_t packed = read;
    // Without a stream the data is stored.
    z_stream* stream = read > 0 ? Deflater() : nullptr;
    if (stream && deflateBound(stream, static_cast<uLong>(read)) <= OutSize)
    {
        stream->next_in = m_pIn.get();
        stream->avail_in = static_cast<uInt>(read);
        stream->next_out = m_pOut.get();
        stream->avail_out = static_cast<uInt>(OutSize);
        if (deflate(stream, Z_FINISH) == Z_STREAM_END)
            packed = OutSize - stream->avail_out;
    }
    const bool deflated = packed < read;
    entry.method = deflated ? MethodDeflated : MethodStored;
    entry.compressed = deflated ? packed : read;
    WriteLocalHeader(entry, false);
    Write(deflated ? m_pOut.get() : m_pIn.get(), entry.compressed);
    m_entries.push_back(entry);
}

void ZipWriter::WriteLocalHeader(const Entry& entry, bool zip64)
{
    Bytes header;
    header.Put32(LocalHeaderSignature);
    header.Put16(zip64 ? VersionZip64 : VersionDefault);
    header.Put16(entry.flags);
    header.Put16(entry.method);
    header.Put16(entry.dosTime);
    header.Put16(entry.dosDate);
    header.Put32(entry.crc);
    header.Put32(zip64 ? Max32 : entry.compressed);
    header.Put32(zip64 ? Max32 : entry.size);
    header.Put16(entry.name.size());
    header.Put16(zip64 ? 20 : 0);
    header.Put(entry.name);
    if (zip64)
    {
        header.Put16(Zip64ExtraId);
        header.Put16(16);
        header.Put64(entry.size);
        header.Put64(entry.compressed);
    }
    Write(header.Data(), header.Size());
}

void ZipWriter::PatchLocalHeader(const Entry& entry, bool zip64)
{
    const unsigned long long end = m_nOffset;
    SeekTo(entry.offset);
    WriteLocalHeader(entry, zip64);
    SeekTo(end);
}

bool ZipWriter::Pack(HANDLE source, unsigned long long limit, Entry& entry)
{
    // Without a stream the data is stored.
    z_stream* stream = Deflater();
    unsigned long crc = 0;
    unsigned long long read = 0;
    const unsigned long long start = m_nOffset;
    bool deflating = stream != nullptr, first = true, last = false;
    while (!last && !m_bFailed)
    {
        DWORD got;
        if (!ReadChunk(source, m_pIn.get(), limit - read, got))
            return false;
        read += got;
        last = got == 0 || read >= limit;
        crc = Crc32::Update(crc, m_pIn.get(), got);
        size_t done = 0;
        if (first && deflating)
        {
            // The first block decides, as with file systems that compress: data that deflate does
            // not shrink there by a sixteenth (media, archives, ciphertext) is stored whole, and
            // the rest is never deflated. Its first few KiB go first, and if they gain nothing at
            // all the look ends there. Each flush ends a deflate block, so what came out is all.
            size_t produced = 0;
            for (const size_t look : {FirstLook, ProbeSize})
            {
                const size_t upto = std::min<size_t>(got, look);
                stream->next_in = m_pIn.get() + done;
                stream->avail_in = static_cast<uInt>(upto - done);
                stream->next_out = m_pOut.get() + produced;
                stream->avail_out = static_cast<uInt>(OutSize - produced);
                deflate(stream, Z_SYNC_FLUSH);
                produced = OutSize - stream->avail_out;
                done = upto;
                if (produced >= done)
                    break;
            }
            deflating = done > 0 && produced <= done - done / 16;
            if (deflating)
                Write(m_pOut.get(), produced);
        }
        first = false;
        if (!deflating)
        {
            Write(m_pIn.get(), got);
            continue;
        }
        const int flush = last ? Z_FINISH : Z_NO_FLUSH;
        stream->next_in = m_pIn.get() + done;
        stream->avail_in = static_cast<uInt>(got - done);
        do
        {
            stream->next_out = m_pOut.get();
            stream->avail_out = static_cast<uInt>(OutSize);
            deflate(stream, flush);
            Write(m_pOut.get(), OutSize - stream->avail_out);
        } while (stream->avail_out == 0 && !m_bFailed);
    }
    entry.method = deflating ? MethodDeflated : MethodStored;
    entry.crc = crc;
    entry.size = read;
    entry.compressed = m_nOffset - start;
    return true;
}

bool ZipWriter::Store(HANDLE source, unsigned long long limit, Entry& entry)
{
    unsigned long crc = 0;
    unsigned long long read = 0;
    while (read < limit && !m_bFailed)
    {
        DWORD got;
        if (!ReadChunk(source, m_pIn.get(), limit - read, got))
            return false;
        if (got == 0)
            break;
        read += got;
        crc = Crc32::Update(crc, m_pIn.get(), got);
        Write(m_pIn.get(), got);
    }
    entry.method = MethodStored;
    entry.crc = crc;
    entry.size = read;
    entry.compressed = read;
    return true;
}

void ZipWriter::WriteCentralDirectory()
{
    const unsigned long long start = m_nOffset;
    for (const Entry& entry : m_entries)
    {
        Bytes extra;
        const bool bigSize = entry.size >= Max32;
        const bool bigCompressed = entry.compressed >= Max32;
        const bool bigOffset = entry.offset >= Max32;
        const bool zip64 = bigSize || bigCompressed || bigOffset;
        if (zip64)
        {
            Bytes values;
            if (bigSize)
                values.Put64(entry.size);
            if (bigCompressed)
                values.Put64(entry.compressed);
            if (bigOffset)
                values.Put64(entry.offset);
            extra.Put16(Zip64ExtraId);
            extra.Put16(values.Size());
            extra.Put(values);
        }
        Bytes header;
        header.Put32(CentralHeaderSignature);
        header.Put16(VersionZip64);  // made by: MS-DOS attributes, format 4.5
        header.Put16(zip64 ? VersionZip64 : VersionDefault);
        header.Put16(entry.flags);
        header.Put16(entry.method);
        header.Put16(entry.dosTime);
        header.Put16(entry.dosDate);
        header.Put32(entry.crc);
        header.Put32(bigCompressed ? Max32 : entry.compressed);
        header.Put32(bigSize ? Max32 : entry.size);
        header.Put16(entry.name.size());
        header.Put16(extra.Size());
        header.Put16(0);  // comment
        header.Put16(0);  // disk
        header.Put16(0);  // internal attributes
        header.Put32(entry.attributes);
        header.Put32(bigOffset ? Max32 : entry.offset);
        header.Put(entry.name);
        header.Put(extra);
        Write(header.Data(), header.Size());
    }
    const unsigned long long size = m_nOffset - start;
    const unsigned long long count = m_entries.size();
    const bool zip64 = count >= Max16 || size >= Max32 || start >= Max32;
    Bytes end;
    if (zip64)
    {
        const unsigned long long recordOffset = m_nOffset;
        end.Put32(Zip64EndSignature);
        end.Put64(44);  // size of the record after this field
        end.Put16(VersionZip64);
        end.Put16(VersionZip64);
        end.Put32(0);
        end.Put32(0);
        end.Put64(count);
        end.Put64(count);
        end.Put64(size);
        end.Put64(start);
        end.Put32(Zip64LocatorSignature);
        end.Put32(0);
        end.Put64(recordOffset);
        end.Put32(1);
    }
    end.Put32(EndSignature);
    end.Put16(0);
    end.Put16(0);
    end.Put16(std::min(count, Max16));
    end.Put16(std::min(count, Max16));
    end.Put32(std::min(size, Max32));
    end.Put32(std::min(start, Max32));
    end.Put16(0);  // comment
    Write(end.Data(), end.Size());
}

bool ZipWriter::Finish()
{
    // Kept only once complete, and moved into place while still open: a move that fails leaves
    // it marked for deletion again.
    WriteCentralDirectory();
    Flush();
    const bool placed = !m_bFailed && ::SetEndOfFile(m_hFile) && KeepTemp(true) &&
                        (MoveIntoPlace() || (KeepTemp(false), false));
    ::CloseHandle(m_hFile);
    m_hFile = INVALID_HANDLE_VALUE;
    return placed && !m_bLeftOut;
}

void ZipWriter::Write(const void* data, size_t size)
{
    if (m_bFailed)
        return;
    const unsigned char* bytes = static_cast<const unsigned char*>(data);
    m_nOffset += size;
    if (size < ChunkSize)
    {
        m_buffer.insert(m_buffer.end(), bytes, bytes + size);
        if (m_buffer.size() >= ChunkSize)
            Flush();
        return;
    }
    // A whole chunk, as stored data comes, goes out without a copy into the buffer.
    Flush();
    DWORD written;
    if (!m_bFailed && (!::WriteFile(m_hFile, bytes, static_cast<DWORD>(size), &written, nullptr) || written != size))
        m_bFailed = true;
}

void ZipWriter::Flush()
{
    DWORD written;
    if (!m_bFailed && !m_buffer.empty() &&
        (!::WriteFile(m_hFile, m_buffer.data(), static_cast<DWORD>(m_buffer.size()), &written, nullptr) ||
         written != m_buffer.size()))
        m_bFailed = true;
    m_buffer.clear();
}

void ZipWriter::SeekTo(unsigned long long offset)
{
    Flush();
    LARGE_INTEGER to;
    to.QuadPart = static_cast<LONGLONG>(offset);
    if (!m_bFailed && !::SetFilePointerEx(m_hFile, to, nullptr, FILE_BEGIN))
        m_bFailed = true;
    m_nOffset = offset;
}
