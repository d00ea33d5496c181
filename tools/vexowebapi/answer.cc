#include "answer.h"

#include <json/writer.h>

#include <utility>

namespace webapi {

Answer::Answer(Json::Value data) : data_(std::move(data)) {}
Answer::Answer(Failure failure) : failure_(std::move(failure)) {}

std::string Answer::Text() const {
  Json::Value answer(Json::objectValue);
  answer["success"] = success();
  if (success()) {
    answer["data"] = data_;
  } else {
    answer["error"]["code"] = failure_.code;
    answer["error"]["message"] = failure_.message;
  }
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  return Json::writeString(writer, answer) + "\n";
}

}  // namespace webapi
