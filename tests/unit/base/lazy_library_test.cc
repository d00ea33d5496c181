#include "base/lazy_library.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "log_capture.h"

using fakes::LogCapture;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using VEXO::base::LazyLibrary;
using VEXO::base::LoadFunctions;

namespace {

struct Math {
  static constexpr char kLibrary[] = "libm.so.6";
  double (*cosine)(double);
  double (*square_root)(double);

  void Find(LazyLibrary& library) {
    library.Find("cos", &cosine);
    library.Find("sqrt", &square_root);
  }
};

struct Pam {
  static constexpr char kLibrary[] = "libpam.so.0";
  void (*start)();

  void Find(LazyLibrary& library) { library.Find("pam_start", &start); }
};

struct Incomplete {
  static constexpr char kLibrary[] = "libm.so.6";
  double (*missing)(double);
  double (*cosine)(double);

  void Find(LazyLibrary& library) {
    library.Find("no_such_function", &missing);
    library.Find("cos", &cosine);
  }
};

struct Late {
  static inline const char* kLibrary = "libmissing.so.1";
  double (*cosine)(double);
  double (*square_root)(double);

  void Find(LazyLibrary& library) {
    library.Find("cos", &cosine);
    library.Find("sqrt", &square_root);
  }
};

TEST(LoadFunctions, LibraryWithTheFunctions_FindsThem) {
  const LogCapture log;

  const Math* const math = LoadFunctions<Math>();

  ASSERT_NE(math, nullptr);
  EXPECT_EQ(math->cosine(0), 1);
  EXPECT_EQ(math->square_root(9), 3);
  EXPECT_EQ(LoadFunctions<Math>(), math);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(LoadFunctions, LoadedLibrary_IsFoundByItsModules) {
  ASSERT_EQ(dlsym(RTLD_DEFAULT, "pam_start"), nullptr);

  ASSERT_NE(LoadFunctions<Pam>(), nullptr);
  EXPECT_NE(dlsym(RTLD_DEFAULT, "pam_start"), nullptr);
}

TEST(LoadFunctions, MissingFunction_IsNullAndNamedInTheLog) {
  const LogCapture log;

  EXPECT_EQ(LoadFunctions<Incomplete>(), nullptr);
  EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("no_such_function")));
}

TEST(LoadFunctions, MissingLibrary_IsNullAndLoggedUntilItIsThere) {
  const LogCapture log;

  EXPECT_EQ(LoadFunctions<Late>(), nullptr);
  EXPECT_EQ(LoadFunctions<Late>(), nullptr);
  Late::kLibrary = "libm.so.6";
  EXPECT_NE(LoadFunctions<Late>(), nullptr);

  const auto line = StartsWith("cannot load a library: libmissing.so.1: ");
  EXPECT_THAT(log.lines(), ElementsAre(line, line));
}

}  // namespace
