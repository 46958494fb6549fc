// Removes the process's temporary folder when a test binary ends: documents
// printed out, converter profiles and staging folders live there.
#pragma once

#include <gtest/gtest.h>

#include "util/Folders.h"

namespace ordolo::test {

class RemoveTempFolderAtEnd : public ::testing::Environment {
  void TearDown() override { util::RemoveTempFolder(); }
};
inline const auto* const kTempCleanup = ::testing::AddGlobalTestEnvironment(new RemoveTempFolderAtEnd);

}  // namespace ordolo::test
