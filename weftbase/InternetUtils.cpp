#include "weftbase/InternetUtils.h"

#include <cctype>

bool InternetUtils::IsInternetFile(const char* path)
{
    if (path == nullptr)
        return false;
    while (*path == ' ' || *path == '\t')
        ++path;
    if (::_strnicmp(path, "www.", 4) == 0 || ::_strnicmp(path, "ftp.", 4) == 0)
        return true;
    // A scheme: a letter, then letters, digits, '+', '-' or '.', then ':'. One letter and a colon
    // is a drive.
    if (!std::isalpha(static_cast<unsigned char>(path[0])))
        return false;
    int n = 1;
    while (std::isalnum(static_cast<unsigned char>(path[n])) || path[n] == '+' || path[n] == '-' || path[n] == '.')
        ++n;
    return path[n] == ':' && n >= 2;
}
