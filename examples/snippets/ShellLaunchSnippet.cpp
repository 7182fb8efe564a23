// Shell launch: opens a document, program or address through the shell. The constructor does
// the whole launch and returns within about 3.5 s, however the launch goes.
#include "SnippetWindow.h"

#include "weftcore.h"

#include <cstdio>

int main()
{
    const std::string dir = SnippetTempDir("weft_snippet_shell");
    const std::string marker = dir + "launched.txt";
    SnippetWriteFile(dir + "hello.bat", "@echo launched> \"" + marker + "\"\r\n");

    // A batch document: the shell runs it in its own folder. For a program, the second text
    // is its argument.
    ShellExecuteThread launch((dir + "hello.bat").c_str(), "");
    if (!launch.GetErrorMsg().IsEmpty())
        std::printf("failed: %s\n", launch.GetErrorMsg().GetString());

    // The launched batch runs on its own; wait (bounded) for what it writes.
    bool seen = false;
    for (int i = 0; i < 100 && !(seen = FileUtils::DoesFileExist(marker.c_str())); ++i)
        Sleep(50);
    std::printf("the batch %s\n", seen ? "ran" : "did not run");
    Sleep(200);  // let the batch's command processor let go of the folder
    DirUtils::DeleteDirectory(dir.c_str(), 0, nullptr, nullptr, nullptr);
    return seen ? 0 : 1;
}
