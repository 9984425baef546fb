// The worked examples of the Markdown documentation, taken out of the pages
// so that tests can run them. A marker comment stands right before a fenced
// block:
//
//   <!-- file: NAME [ENCODING] -->   the block is a file's content; ENCODING
//       is text (as written, the default), utf8 (byte-order mark + text),
//       utf16 (byte-order mark + the text as UTF-16LE) or hex (the bytes of
//       two-digit tokens; a leading "0000:" offset and "//" comments are
//       left out).
//   <!-- run [status=N] [stdin=TEXT] [dir=DIR] -->   the block holds
//       "$ VALDRN ..." command lines, each followed by its exact output
//       (standard output after the banner, then standard error), run in
//       the subdirectory DIR when given. "$LAN" stands for the LAN+ options
//       of a BMC, "$HOST" for its address. "$ cat NAME" shows a file's
//       exact content.
#pragma once

#include <string>
#include <vector>

namespace valdrn_test {

struct DocFile {
    std::string sName;
    std::string sBytes;
    int iLine = 0;
};

struct DocCommand {
    std::vector<std::string> asWords;  // after the "$ "
    std::string sExpected;
    int iLine = 0;
};

struct DocRun {
    int iStatus = 0;
    std::string sStdin;
    std::string sDirectory;  // relative to the page's working directory
    std::vector<DocCommand> commands;
    int iLine = 0;
};

struct DocExamples {
    std::vector<DocFile> files;
    std::vector<DocRun> runs;
    std::vector<std::string> asErrors;  // malformed markers or blocks
};

DocExamples ExtractDocExamples(const std::string& sMarkdown);

// UTF-8 text as UTF-16LE (no byte-order mark); empty when not valid UTF-8.
std::string Utf8ToUtf16Le(const std::string& sUtf8);

}  // namespace valdrn_test
