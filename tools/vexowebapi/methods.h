#pragma once

#include <string>
#include <vector>

#include "call.h"
#include "response.h"

namespace webapi {

/// One method of an API: the parameters that it knows, and its work.
struct Method {
  std::string name;
  std::vector<std::string> parameters;
  Response (*run)(Call& call) = nullptr;
};

/// The methods of one API each: of links, of sessions and of tokens.
std::vector<Method> LinkMethods();
std::vector<Method> SessionMethods();
std::vector<Method> TokenMethods();

}  // namespace webapi
