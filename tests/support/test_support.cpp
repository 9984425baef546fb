#include "support/test_support.h"

#include <sched.h>
#include <stdio_ext.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

namespace valdrn_test {

TempDir::TempDir()
{
    std::string sTemplate = (std::filesystem::temp_directory_path() / "valdrn-test-XXXXXX").string();
    if (mkdtemp(&sTemplate[0]) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    m_sPath = sTemplate;
}

TempDir::~TempDir()
{
    std::error_code error;
    std::filesystem::remove_all(m_sPath, error);
}

std::vector<std::string> ProgramUnderTest(const std::string& sBinary)
{
    std::vector<std::string> asWords;
    if (const char* pchWrapper = std::getenv("VALDRN_TEST_WRAPPER")) {
        std::istringstream words(pchWrapper);
        for (std::string sWord; words >> sWord;) {
            asWords.push_back(sWord);
        }
    }
    asWords.push_back(sBinary);
    return asWords;
}

void WriteFile(const std::string& sPath, const std::string& sBytes)
{
    std::ofstream file(sPath, std::ios::binary | std::ios::trunc);
    file.write(sBytes.data(), static_cast<std::streamsize>(sBytes.size()));
    if (!file) {
        throw std::runtime_error("cannot write " + sPath);
    }
}

std::string ReadFile(const std::string& sPath)
{
    std::ifstream file(sPath, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + sPath);
    }
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

bool FileExists(const std::string& sPath)
{
    std::error_code error;
    return std::filesystem::symlink_status(sPath, error).type() != std::filesystem::file_type::not_found && !error;
}

std::string Bytes(const std::vector<unsigned char>& au8Bytes)
{
    return std::string(au8Bytes.begin(), au8Bytes.end());
}

CapturedOutput::CapturedOutput()
{
    std::fflush(nullptr);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
}

CapturedOutput::~CapturedOutput()
{
    Finish();
}

void CapturedOutput::Finish()
{
    if (m_bFinished) {
        return;
    }
    m_bFinished = true;
    std::fflush(nullptr);
    m_sOut = testing::internal::GetCapturedStdout();
    m_sErr = testing::internal::GetCapturedStderr();
}

ScriptedStdin::ScriptedStdin(const std::string& sText)
{
    // Works also when the test runs with standard input closed (fd 0 free).
    m_iSavedFd = dup(STDIN_FILENO);
    int aiPipe[2];
    if (pipe(aiPipe) != 0) {
        throw std::runtime_error("pipe failed");
    }
    if (write(aiPipe[1], sText.data(), sText.size()) != static_cast<ssize_t>(sText.size())) {
        throw std::runtime_error("pipe write failed");
    }
    close(aiPipe[1]);
    if (aiPipe[0] != STDIN_FILENO) {
        dup2(aiPipe[0], STDIN_FILENO);
        close(aiPipe[0]);
    }
    __fpurge(stdin);
    clearerr(stdin);
}

ScriptedStdin::~ScriptedStdin()
{
    if (m_iSavedFd >= 0) {
        dup2(m_iSavedFd, STDIN_FILENO);
        close(m_iSavedFd);
    } else {
        close(STDIN_FILENO);
    }
    __fpurge(stdin);  // what the code under test left unread must not reach the next test
    clearerr(stdin);
}

void ExitWithFakeLsmod(const std::string* psListing, int (*pfnBody)())
{
    TempDir fakeSbin;
    if (psListing != nullptr) {
        WriteFile(fakeSbin.File("lsmod"), "#!/bin/sh\nprintf '" + *psListing + "'\n");
        chmod(fakeSbin.File("lsmod").c_str(), 0755);
    }
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount(fakeSbin.Path().c_str(), "/sbin", nullptr, MS_BIND, nullptr) != 0) {
        std::fputs("cannot set up the private /sbin\n", stderr);
        std::_Exit(99);
    }
    std::_Exit(pfnBody());
}

}  // namespace valdrn_test
