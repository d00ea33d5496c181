#include "visit/same_site.h"

#include <gtest/gtest.h>

#include "sharing_visit.h"

namespace VEXO::sharing {
namespace {

TEST(IsCrossSite, FetchSite_Decides) {
  const struct {
    const char* fetch_site;
    bool cross_site;
  } cases[] = {{"same-origin", false},
               {"none", false},
               {"same-site", true},
               {"cross-site", true},
               {"nonsense", true}};

  for (const auto& [fetch_site, cross_site] : cases) {
    VisitRequest request;
    request.fetch_site = fetch_site;
    request.host = "nas.example";
    request.origin = cross_site ? "https://nas.example" : "https://elsewhere.example";
    EXPECT_EQ(cross_site, IsCrossSite(request)) << fetch_site;
  }
}

TEST(IsCrossSite, NeitherHeader_IsAProgramAndAllowed) {
  VisitRequest request;
  request.host = "nas.example";

  EXPECT_FALSE(IsCrossSite(request));
}

TEST(IsCrossSite, Origin_MustHaveHostAndPortOfTheRequestOrOfTheBase) {
  const struct {
    const char* origin;
    const char* host;
    const char* base;
    bool cross_site;
  } cases[] = {
      {"https://nas.example", "nas.example", "", false},
      {"http://nas.example", "nas.example", "", false},
      {"https://NAS.example", "nas.EXAMPLE", "", false},
      {"https://nas.example", "nas.example:443", "", false},
      {"http://nas.example", "nas.example:80", "", false},
      {"https://nas.example:5001", "nas.example:5001", "", false},
      {"https://[2001:db8::1]", "[2001:db8::1]", "", false},
      {"https://[2001:db8::1]:5001", "[2001:db8::1]:5001", "", false},
      {"https://nas.example", "10.0.0.1:8080", "https://nas.example/links", false},
      {"https://nas.example", "10.0.0.1:8080", "https://nas.example:443", false},

      {"https://elsewhere.example", "nas.example", "", true},
      {"https://nas.example.elsewhere.example", "nas.example", "", true},
      {"https://nas.example:5001", "nas.example", "", true},
      {"https://nas.example", "nas.example:5001", "", true},
      {"http://nas.example", "nas.example:443", "", true},
      {"https://[2001:db8::1]:5001", "[2001:db8::1]", "", true},
      {"https://[2001:db8::2]", "[2001:db8::1]", "", true},
      {"https://nas.example:5001", "10.0.0.1", "https://nas.example/links", true},
      {"null", "nas.example", "https://nas.example", true},
      {"null", "null", "null", true},
      {"file://nas.example", "nas.example", "", true},
      {"nas.example", "nas.example", "", true},
  };

  for (const auto& [origin, host, base, cross_site] : cases) {
    VisitRequest request;
    request.origin = origin;
    request.host = host;
    request.base = base;
    EXPECT_EQ(cross_site, IsCrossSite(request)) << origin << " " << host << " " << base;
  }
}

}  // namespace
}  // namespace VEXO::sharing
