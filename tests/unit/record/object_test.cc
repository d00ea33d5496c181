#include "object.h"

#include <gmock/gmock.h>
#include <json/value.h>

#include <cstring>
#include <ctime>
#include <type_traits>
#include <utility>

#include "entry.h"
#include "fake_platform.h"
#include "log_capture.h"
#include "session.h"
#include "stored_row.h"
#include "token.h"

namespace VEXO::sharing::record {
namespace {

// A pointer to a virtual member is one more than its offset in the table, in bytes.
template <class Member>
std::size_t Slot(Member member) {
  std::size_t offset = 0;
  std::memcpy(&offset, &member, sizeof(offset));
  return (offset - 1) / sizeof(void*);
}

TEST(Object, VirtualFunctions_HaveTheOrderOfTheBinaryInterface) {
  // The destructor has two places, 0 and 1.
  EXPECT_EQ(2u, Slot(&Object::GetFieldList));
  EXPECT_EQ(3u, Slot(&Object::GetFieldMap));
  EXPECT_EQ(4u, Slot(&Object::IsLegal));
  EXPECT_EQ(5u, Slot(&Object::ToJSON));
  EXPECT_EQ(6u, Slot(&Object::FromRow));
}

TEST(Object, Class_IsAbstractWithAVirtualDestructor) {
  EXPECT_TRUE(std::is_abstract_v<Object>);
  EXPECT_TRUE(std::has_virtual_destructor_v<Object>);
}

// Tests of what Entry, Session and Token have in common.  The records have texts, so that
// a copy or a move could share or lose something.

Json::Value ObjectWith(const char* key, const char* value) {
  Json::Value object(Json::objectValue);
  object[key] = value;
  return object;
}

void Fill(Entry& entry) {
  entry.set_hash("a hash that is too long for the string object");
  entry.set_project_name("project");
  entry.set_owner_uid(5001);
  entry.set_app(ObjectWith("name", "value"));
  entry.set_protect_uids({1, 2});
}
void Fill(Session& session) {
  session.set_session_id("a session id that is too long for it");
  session.set_ip("192.0.2.7");
  session.set_timeout(time(nullptr) + 3600);
}
void Fill(Token& token) {
  token.set_entry_id(5);
  token.set_session_id(7);
  token.set_timeout(time(nullptr) + 3600);
}

void Change(Entry& entry) { entry.set_hash("other"); }
void Change(Session& session) { session.set_session_id("other"); }
void Change(Token& token) { token.set_entry_id(6); }

bool HasNoText(const Entry& entry) {
  return entry.get_hash().empty() && entry.get_project_name().empty() &&
         entry.get_protect_uids().empty();
}
bool HasNoText(const Session& session) {
  return session.get_session_id().empty() && session.get_ip().empty();
}
bool HasNoText(const Token&) { return true; }

template <class Record>
class RecordHandle : public testing::Test {
 protected:
  RecordHandle() {
    Fill(record_);
    record_.set_id(42);
    fields_ = record_.GetFieldList();
  }

  fakes::Platform platform_;
  fakes::LogCapture log_;
  Record record_;
  std::vector<std::string> fields_;
};

using Records = testing::Types<Entry, Session, Token>;
TYPED_TEST_SUITE(RecordHandle, Records);

TYPED_TEST(RecordHandle, Handle_HoldsOnePointerAndIsNoObject) {
  EXPECT_EQ(2 * sizeof(void*), sizeof(TypeParam));
  EXPECT_TRUE(std::has_virtual_destructor_v<TypeParam>);
  EXPECT_FALSE((std::is_base_of_v<Object, TypeParam>));
  EXPECT_FALSE(std::is_nothrow_move_constructible_v<TypeParam>);
}

TYPED_TEST(RecordHandle, NewRecord_IsValidWithId0) {
  const TypeParam record;

  EXPECT_EQ(0, record.get_id());
  EXPECT_EQ(0, record.GetCObject()->id);
  EXPECT_TRUE(record.GetCObject()->blValid_);
}

TYPED_TEST(RecordHandle, GetObject_IsTheSameRecordSeenThroughTheContract) {
  Object* const object = this->record_.GetObject();

  EXPECT_EQ(object, this->record_.GetCObject());
  EXPECT_EQ(42, object->id);
  EXPECT_EQ(this->fields_, object->GetFieldList());
  EXPECT_EQ(this->record_.GetFieldMap(), object->GetFieldMap());
  EXPECT_TRUE(object->IsLegal());
  EXPECT_TRUE(this->record_.IsLegal());
  Json::Value through_object;
  Json::Value through_handle;
  object->ToJSON(through_object);
  this->record_.ToJSON(through_handle);
  EXPECT_EQ(through_handle, through_object);
  EXPECT_FALSE(through_object.isMember("id"));
}

TYPED_TEST(RecordHandle, GetObject_SetId_ShowsInTheHandle) {
  this->record_.GetObject()->id = -9;

  EXPECT_EQ(-9, this->record_.get_id());
}

TYPED_TEST(RecordHandle, InvalidFlag_IsCopiedAndMovedWithTheRecord) {
  this->record_.GetObject()->blValid_ = false;

  const TypeParam copy(this->record_);
  TypeParam assigned;
  assigned = copy;
  const TypeParam moved(std::move(assigned));
  EXPECT_FALSE(copy.GetCObject()->blValid_);
  EXPECT_FALSE(moved.GetCObject()->blValid_);
}

TYPED_TEST(RecordHandle, Copy_SharesNothing) {
  TypeParam copy(this->record_);

  EXPECT_NE(this->record_.GetObject(), copy.GetObject());
  EXPECT_EQ(42, copy.get_id());
  EXPECT_EQ(this->fields_, copy.GetFieldList());
  Change(copy);
  EXPECT_EQ(this->fields_, this->record_.GetFieldList());
  EXPECT_NE(this->fields_, copy.GetFieldList());
}

TYPED_TEST(RecordHandle, CopyAssignment_FillsTheObjectThatIsThere) {
  TypeParam copy;
  const Object* const object = copy.GetObject();

  EXPECT_EQ(&copy, &(copy = this->record_));
  EXPECT_EQ(object, copy.GetObject());
  EXPECT_EQ(42, copy.get_id());
  Change(copy);
  EXPECT_EQ(this->fields_, this->record_.GetFieldList());
}

TYPED_TEST(RecordHandle, SelfAssignment_KeepsTheRecord) {
  TypeParam& self = this->record_;

  this->record_ = self;
  EXPECT_EQ(this->fields_, this->record_.GetFieldList());
  this->record_ = std::move(self);
  EXPECT_EQ(this->fields_, this->record_.GetFieldList());
}

TYPED_TEST(RecordHandle, Move_TakesTheFieldsIntoANewObject) {
  const Object* const object = this->record_.GetObject();

  TypeParam moved(std::move(this->record_));
  EXPECT_NE(object, moved.GetObject());
  EXPECT_EQ(object, this->record_.GetObject());
  EXPECT_EQ(42, moved.get_id());
  EXPECT_EQ(this->fields_, moved.GetFieldList());
  EXPECT_TRUE(HasNoText(this->record_));
}

TYPED_TEST(RecordHandle, MoveAssignment_FillsTheObjectThatIsThere) {
  TypeParam moved;
  const Object* const object = moved.GetObject();

  EXPECT_EQ(&moved, &(moved = std::move(this->record_)));
  EXPECT_EQ(object, moved.GetObject());
  EXPECT_EQ(this->fields_, moved.GetFieldList());
  EXPECT_TRUE(HasNoText(this->record_));
}

TYPED_TEST(RecordHandle, MovedFrom_CanBeUsedAgain) {
  const TypeParam moved(std::move(this->record_));

  this->record_.GetFieldList();
  this->record_ = moved;
  EXPECT_EQ(this->fields_, this->record_.GetFieldList());
  EXPECT_TRUE(this->record_.IsLegal());
}

TYPED_TEST(RecordHandle, StoredAndReadBack_IsTheSameRecord) {
  auto columns = this->record_.GetFieldMap();
  columns["id"] = "42";
  const StoredRow stored(this->platform_, columns);
  TypeParam again;

  EXPECT_TRUE(again.FromRow(stored.row()));
  EXPECT_EQ(42, again.get_id());
  EXPECT_EQ(this->fields_, again.GetFieldList());
  TypeParam through_object;
  EXPECT_TRUE(through_object.GetObject()->FromRow(stored.row()));
  EXPECT_EQ(this->fields_, through_object.GetFieldList());
}

TYPED_TEST(RecordHandle, FieldList_NeverHoldsTheId) {
  EXPECT_EQ(0u, this->record_.GetFieldMap().count("id"));
  EXPECT_EQ(this->fields_.size(), this->record_.GetFieldMap().size());
}

}  // namespace
}  // namespace VEXO::sharing::record
