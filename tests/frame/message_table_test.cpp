// The message table through MessageText and MessageFormat.
#include "frame/message_table.h"

#include <gtest/gtest.h>

#include <string>

#include "frame/cp932.h"

namespace {

std::string Utf8Message(uint32_t id) {
  const char* text = MessageText(id);
  return text ? Utf8FromCp932(text) : "<none>";
}

}  // namespace

TEST(MessageTable, HoldsAllRowsInCp932ByNumber) {
  int found = 0;
  for (uint32_t id = 0; id <= 70000; ++id) {
    const char* text = MessageText(id);
    if (!text) continue;
    ++found;
    // Every text survives the trip to CP932: no character was replaced.
    EXPECT_EQ(std::string(text).find('?'), std::string::npos) << "message " << id;
  }
  EXPECT_EQ(found, 123);
  EXPECT_TRUE(Utf8Message(1).starts_with("\"メーカーノート\"（"));  // opens with a double quote
  EXPECT_EQ(Utf8Message(4), "\"%s\" を削除しますか？");
  EXPECT_EQ(Utf8Message(29), "Not Found!");
  EXPECT_TRUE(Utf8Message(121).starts_with("%d件のファイルが更新されませんでした。\n"));
  EXPECT_NE(Utf8Message(132), "<none>");
  // Gaps, the ends and the ending row itself are not messages.
  for (uint32_t id : {0u, 17u, 19u, 122u, 131u, 133u, 999u, 1004u, 65535u, 70000u})
    EXPECT_EQ(MessageText(id), nullptr) << id;
  // The texts are CP932 bytes: "完了！" is six bytes, nine in UTF-8.
  EXPECT_EQ(std::string(MessageText(51)), "\x8A\xAE\x97\xB9\x81\x49");
}

TEST(MessageTable, FormatsWithArguments) {
  EXPECT_EQ(Utf8FromCp932(MessageFormat(75, 36, 35)), "MV-1データ件数[36]とJpegファイル件数[35]が一致しません。\n");
  EXPECT_EQ(Utf8FromCp932(MessageFormat(115, 3, 10)), "3/10");
  const std::string path = Cp932FromUtf8("/写真/表.jpg");
  EXPECT_EQ(Utf8FromCp932(MessageFormat(117, path.c_str())),
            "このファイルは読み取り専用に設定されているため更新できません。\n\n/写真/表.jpg");
  EXPECT_STREQ(MessageFormat(2000, 1), "");
}
