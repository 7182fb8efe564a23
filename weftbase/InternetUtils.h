// Telling internet addresses from local paths.
#pragma once

#include "weftbase/WeftBaseApi.h"

class WEFTBASE_API InternetUtils
{
public:
    // True if the text is an internet address rather than a path with a local directory: it
    // begins with a scheme of two or more characters and a colon ("http:", "https:", "ftp:",
    // "mailto:", "file:"), or with "www." or "ftp.". Drive paths ("C:\x"), relative paths and
    // network paths ("\\server\share\x") give false, as do null and empty texts.
    static bool IsInternetFile(const char* path);
};
