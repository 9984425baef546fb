#include "support/doc_examples.h"

#include <iconv.h>

#include <cctype>
#include <sstream>

namespace valdrn_test {

namespace {

std::vector<std::string> Lines(const std::string& sText)
{
    std::vector<std::string> asLines;
    std::istringstream stream(sText);
    for (std::string sLine; std::getline(stream, sLine);) {
        asLines.push_back(sLine);
    }
    return asLines;
}

std::vector<std::string> Words(const std::string& sText)
{
    std::vector<std::string> asWords;
    std::istringstream stream(sText);
    for (std::string sWord; stream >> sWord;) {
        asWords.push_back(sWord);
    }
    return asWords;
}

bool StartsWith(const std::string& sText, const std::string& sPrefix)
{
    return sText.compare(0, sPrefix.size(), sPrefix) == 0;
}

bool IsHexByte(const std::string& sToken)
{
    return sToken.size() == 2 && std::isxdigit(static_cast<unsigned char>(sToken[0])) &&
           std::isxdigit(static_cast<unsigned char>(sToken[1]));
}

// The bytes of a hex block; an error text when a token is not a byte.
std::string HexBytes(const std::string& sBody, std::string* psError)
{
    std::string sBytes;
    for (std::string sLine : Lines(sBody)) {
        const size_t uComment = sLine.find("//");
        if (uComment != std::string::npos) {
            sLine.erase(uComment);
        }
        std::vector<std::string> asTokens = Words(sLine);
        if (!asTokens.empty() && asTokens.front().back() == ':') {
            asTokens.erase(asTokens.begin());
        }
        for (const std::string& sToken : asTokens) {
            if (!IsHexByte(sToken)) {
                *psError = "'" + sToken + "' is not a hex byte";
                return "";
            }
            sBytes += static_cast<char>(std::stoi(sToken, nullptr, 16));
        }
    }
    return sBytes;
}

DocFile FileExample(const std::vector<std::string>& asMarker, const std::string& sBody, int iLine, std::string* psError)
{
    DocFile file;
    file.iLine = iLine;
    if (asMarker.size() < 2 || asMarker.size() > 3) {
        *psError = "a file marker takes a name and an encoding";
        return file;
    }
    file.sName = asMarker[1];
    const std::string sEncoding = asMarker.size() == 3 ? asMarker[2] : "text";
    if (sEncoding == "text") {
        file.sBytes = sBody;
    } else if (sEncoding == "utf8") {
        file.sBytes = "\xEF\xBB\xBF" + sBody;
    } else if (sEncoding == "utf16") {
        const std::string sWide = Utf8ToUtf16Le(sBody);
        if (sWide.empty() && !sBody.empty()) {
            *psError = "the block is not UTF-8";
        }
        file.sBytes = "\xFF\xFE" + sWide;
    } else if (sEncoding == "hex") {
        file.sBytes = HexBytes(sBody, psError);
    } else {
        *psError = "unknown encoding " + sEncoding;
    }
    return file;
}

DocRun RunExample(const std::vector<std::string>& asMarker, const std::vector<std::string>& asBody, int iFirstLine,
                  std::string* psError)
{
    DocRun run;
    run.iLine = iFirstLine;
    for (size_t i = 1; i < asMarker.size(); ++i) {
        if (StartsWith(asMarker[i], "status=")) {
            const std::string sStatus = asMarker[i].substr(7);
            if (sStatus.empty() || sStatus.find_first_not_of("0123456789") != std::string::npos || sStatus.size() > 3) {
                *psError = "the status is not a number: " + sStatus;
            } else {
                run.iStatus = std::stoi(sStatus);
            }
        } else if (StartsWith(asMarker[i], "stdin=")) {
            run.sStdin = asMarker[i].substr(6) + "\n";
        } else if (StartsWith(asMarker[i], "dir=")) {
            run.sDirectory = asMarker[i].substr(4);
        } else {
            *psError = "unknown run setting " + asMarker[i];
        }
    }
    for (size_t i = 0; i < asBody.size(); ++i) {
        const std::string& sLine = asBody[i];
        if (StartsWith(sLine, "$ ")) {
            run.commands.push_back({Words(sLine.substr(2)), "", iFirstLine + 1 + static_cast<int>(i)});
        } else if (run.commands.empty()) {
            *psError = "output before the first command";
        } else {
            run.commands.back().sExpected += sLine + "\n";
        }
    }
    if (run.commands.empty()) {
        *psError = "a run block without a command";
    }
    return run;
}

}  // namespace

std::string Utf8ToUtf16Le(const std::string& sUtf8)
{
    iconv_t pConverter = iconv_open("UTF-16LE", "UTF-8");
    if (pConverter == reinterpret_cast<iconv_t>(-1)) {
        return "";
    }
    std::string sOut(sUtf8.size() * 2 + 4, '\0');
    char* pchIn = const_cast<char*>(sUtf8.data());
    size_t uInLeft = sUtf8.size();
    char* pchOut = sOut.data();
    size_t uOutLeft = sOut.size();
    const bool bDone = iconv(pConverter, &pchIn, &uInLeft, &pchOut, &uOutLeft) != static_cast<size_t>(-1);
    iconv_close(pConverter);
    sOut.resize(bDone ? sOut.size() - uOutLeft : 0);
    return sOut;
}

DocExamples ExtractDocExamples(const std::string& sMarkdown)
{
    DocExamples examples;
    const std::vector<std::string> asLines = Lines(sMarkdown);
    for (size_t i = 0; i < asLines.size(); ++i) {
        const std::string& sLine = asLines[i];
        if (!StartsWith(sLine, "<!-- file:") && !StartsWith(sLine, "<!-- run")) {
            continue;
        }
        const int iLine = static_cast<int>(i) + 1;
        const auto Fail = [&](const std::string& sWhy) {
            examples.asErrors.push_back("line " + std::to_string(iLine) + ": " + sWhy);
        };
        const size_t uEnd = sLine.find("-->");
        if (uEnd == std::string::npos) {
            Fail("marker without -->");
            continue;
        }
        std::string sMarker = sLine.substr(5, uEnd - 5);
        if (StartsWith(sMarker, "file:")) {
            sMarker.replace(0, 5, "file ");
        }
        const std::vector<std::string> asMarker = Words(sMarker);
        if (i + 1 >= asLines.size() || !StartsWith(asLines[i + 1], "```")) {
            Fail("the marker is not followed by a fenced block");
            continue;
        }
        size_t uClose = i + 2;
        while (uClose < asLines.size() && asLines[uClose] != "```") {
            ++uClose;
        }
        if (uClose >= asLines.size()) {
            Fail("the fenced block is not closed");
            break;
        }
        const std::vector<std::string> asBody(asLines.begin() + static_cast<long>(i) + 2,
                                              asLines.begin() + static_cast<long>(uClose));
        std::string sError;
        if (asMarker[0] == "file") {
            std::string sBody;
            for (const std::string& sBodyLine : asBody) {
                sBody += sBodyLine + "\n";
            }
            examples.files.push_back(FileExample(asMarker, sBody, iLine, &sError));
        } else {
            examples.runs.push_back(RunExample(asMarker, asBody, iLine + 1, &sError));
        }
        if (!sError.empty()) {
            Fail(sError);
        }
        i = uClose;
    }
    return examples;
}

}  // namespace valdrn_test
