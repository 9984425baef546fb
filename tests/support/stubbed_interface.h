// A test fixture with the system interface open on the stand-in
// libopenraw.so, whose recorder the test reaches through m_stub.
#pragma once

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "support/stub_library.h"
#include "support/test_support.h"

namespace valdrn_test {

class StubbedInterfaceTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    std::string m_sPath;
    std::unique_ptr<StubLibrary> m_stub;
    // VALDRN_BACKUP_DIR for the test: the copies it saves stay here.
    TempDir m_backups;
};

}  // namespace valdrn_test
