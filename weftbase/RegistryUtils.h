// The registry as text: key paths, value names, and values of every type as text.
//
// A key is given as a root (HKEY_CURRENT_USER, an open key, ...) and a path below it, with '\'
// between names; the empty path is the root itself. Keys are opened for reading only.
// All operations may be called from any thread; none changes the registry.
//
// A value as text, by type:
//   REG_SZ                 the text
//   REG_EXPAND_SZ          the text as stored ("%TEMP%\x"), or expanded if asked
//   REG_MULTI_SZ           the texts joined by a line feed ("a\nb\nc")
//   REG_DWORD, REG_DWORD_BIG_ENDIAN, REG_QWORD
//                          the number in decimal, unsigned ("42")
//   REG_BINARY and every other type, and numbers of the wrong size
//                          the bytes in hexadecimal, lower case, separated by blanks ("0a ff 00")
// A text value's data ends at its first zero character; data without a terminator is read whole.
//
// Names and texts are read wide and put in the code page without best fit: a character that the
// code page lacks becomes its default character ('?'), never a look-alike that would name another
// key or value. A key whose name the code page cannot hold is left out of a listing, with all below
// it. A value whose name it cannot hold is listed with the default character in its name and the
// empty text, its data never read by that name; if that name finds another value of the key, the
// value is left out instead. The listings count what they leave out in their last argument.
#pragma once

#include "weftbase/TextArray.h"
#include "weftbase/WeftBaseApi.h"

#include <afx.h>

class WEFTBASE_API RegistryUtils
{
public:
    // Replaces the list by the paths of the keys below root\key, each a path below root
    // ("key\child") that the other operations accept. recursive true lists every level, each key
    // before the keys below it, siblings in the order the registry gives them; false lists the
    // direct children only. Names of any length are read whole. False, with the list empty, if
    // root\key cannot be opened; false too if a key of the tree could not be listed whole (it
    // cannot be opened, or its listing fails): the list then holds what could be read, a key that
    // cannot be opened among it. A key deleted during the walk is no failure. leftOut, if given,
    // gets the count of keys left out for their names (those below them are not counted).
    static bool GetSubKeys(HKEY root, const char* key, TextArray& subKeys, bool recursive,
                           unsigned long* leftOut = nullptr);
    // Replaces the list by the names of the values of root\key, in the registry's order; the
    // default value, when set, has the empty name. False, with the list empty, if the key
    // cannot be opened; false too if the listing fails part-way, with the names read so far.
    // leftOut, if given, gets the count of values left out for their names.
    static bool GetKeyValues(HKEY root, const char* key, TextArray& names, unsigned long* leftOut = nullptr);
    // Both at once, read in one pass over the key: the names as GetKeyValues gives them and, at
    // the same index, each value's text as GetKeyValue would give it. Both lists are replaced;
    // false as for GetKeyValues, with what was read so far; leftOut as there.
    static bool GetKeyValueTexts(HKEY root, const char* key, TextArray& names, TextArray& texts, bool expand,
                                 unsigned long* leftOut = nullptr);
    // The value as text (see above); expand true expands the environment variables of a
    // REG_EXPAND_SZ value. The empty text if the key or value is missing.
    static CString GetKeyValue(HKEY root, const char* key, const char* name, bool expand);
    // As GetKeyValue, and the value's type (REG_SZ, ...) in type. False if the value cannot be read.
    static bool GetKeyValue(HKEY root, const char* key, const char* name, bool expand, CString& text,
                            unsigned long& type);
    // The text of raw value data of a type, as listed above.
    static CString FormatValue(unsigned long type, const unsigned char* data, unsigned long size, bool expand);
};
