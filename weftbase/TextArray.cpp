#include "weftbase/TextArray.h"

TextArray::TextArray() = default;
TextArray::TextArray(const TextArray& other) = default;
TextArray& TextArray::operator=(const TextArray& other) = default;
TextArray::~TextArray() = default;

unsigned long long TextArray::Add(const char* text)
{
    m_texts.emplace_back(text);
    return m_texts.size() - 1;
}

void TextArray::Append(const TextArray& other)
{
    if (&other == this)
    {
        const std::vector<CString> copy(m_texts);
        m_texts.insert(m_texts.end(), copy.begin(), copy.end());
        return;
    }
    m_texts.insert(m_texts.end(), other.m_texts.begin(), other.m_texts.end());
}

unsigned long long TextArray::Insert(unsigned long long index, const char* text)
{
    if (index >= m_texts.size())
        return Add(text);
    m_texts.insert(m_texts.begin() + static_cast<std::ptrdiff_t>(index), CString(text));
    return index;
}

bool TextArray::Remove(unsigned long long index)
{
    if (index >= m_texts.size())
        return false;
    m_texts.erase(m_texts.begin() + static_cast<std::ptrdiff_t>(index));
    return true;
}

void TextArray::RemoveAll()
{
    m_texts.clear();
}

bool TextArray::SetAt(unsigned long long index, const char* text)
{
    if (index >= m_texts.size())
        return false;
    m_texts[index] = text;
    return true;
}

unsigned long long TextArray::GetCount() const
{
    return m_texts.size();
}

bool TextArray::IsEmpty() const
{
    return m_texts.empty();
}

CString TextArray::GetCopyAt(unsigned long long index) const
{
    return index < m_texts.size() ? m_texts[index] : CString();
}

unsigned long long TextArray::Find(const char* text, bool ignoreCase, bool& found) const
{
    const char* wanted = text ? text : "";
    for (size_t i = 0; i < m_texts.size(); ++i)
    {
        const int order = ignoreCase ? m_texts[i].CompareNoCase(wanted) : m_texts[i].Compare(wanted);
        if (order == 0)
        {
            found = true;
            return i;
        }
    }
    found = false;
    return m_texts.size();
}
