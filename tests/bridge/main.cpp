#include <gtest/gtest.h>

// The VM handles SIGSEGV itself and means it.
extern "C" const char* __asan_default_options() {
  return "handle_segv=0:allow_user_segv_handler=1:detect_leaks=1";
}

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
