// An ordered list of texts. Indices are unsigned 64-bit and count from 0.
//
//   TextArray drives;
//   VolumeUtils::GetDriveLetters(drives);
//   for (unsigned long long i = 0; i < drives.GetCount(); ++i)
//       Use(drives.GetCopyAt(i));
//
// Not synchronised: one thread at a time, or a lock around it. Out-of-range indices are
// harmless: reads give the empty text, writes and removals do nothing and give false.
#pragma once

#include "weftbase/WeftBaseApi.h"

#include <afx.h>

#include <vector>

class WEFTBASE_API TextArray
{
public:
    TextArray();
    TextArray(const TextArray& other);
    TextArray& operator=(const TextArray& other);
    ~TextArray();

    // Appends the text; gives its index.
    unsigned long long Add(const char* text);
    // Appends every text of the other list, in its order.
    void Append(const TextArray& other);
    // Inserts the text before index; an index at or past the end appends. Gives the index it took.
    unsigned long long Insert(unsigned long long index, const char* text);
    // Removes the text at index; false if there is none.
    bool Remove(unsigned long long index);
    void RemoveAll();
    // Replaces the text at index; false if there is none.
    bool SetAt(unsigned long long index, const char* text);

    unsigned long long GetCount() const;
    bool IsEmpty() const;
    // A copy of the text at index, or the empty text out of range.
    CString GetCopyAt(unsigned long long index) const;

    // The index of the first text equal to the given one, and found set to true; GetCount()
    // and found false if there is none. ignoreCase false compares exactly (CString::Compare);
    // true compares as CString::CompareNoCase does.
    unsigned long long Find(const char* text, bool ignoreCase, bool& found) const;

private:
    std::vector<CString> m_texts;
};
