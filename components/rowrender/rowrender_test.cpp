#include "rowrender.h"

#include <gtest/gtest.h>

#include <string>

#include "payload.h"

namespace {

std::string item(const std::string& key, const std::string& value) {
  std::string bytes(rowrender::itemSize(key, value), '\0');
  rowrender::putItem(reinterpret_cast<uint8_t*>(bytes.data()), key, value);
  return bytes;
}

TEST(RowRender, SplitsItemsAndCutsTextsAtNul) {
  const std::string data = item("url", "http://a") + item("", "") + item(std::string("ke\0y", 4), "va\0l");
  RenderSet* set = render_set_get(data.data(), static_cast<unsigned>(data.size()));
  ASSERT_NE(set, nullptr);
  ASSERT_EQ(render_set_count(set), 3);
  EXPECT_STREQ(render_item_key(render_item_get(set, 0)), "url");
  EXPECT_STREQ(render_item_val(render_item_get(set, 0)), "http://a");
  EXPECT_STREQ(render_item_key(render_item_get(set, 1)), "");
  EXPECT_STREQ(render_item_key(render_item_get(set, 2)), "ke");
  EXPECT_STREQ(render_item_val(render_item_get(set, 2)), "va");
  EXPECT_EQ(render_item_get(set, 3), nullptr);
  EXPECT_EQ(render_item_get(set, -1), nullptr);
  EXPECT_STREQ(row_render_error(), "no item -1 in a set of 3");
  EXPECT_EQ(render_set_count(nullptr), -1);
  EXPECT_STREQ(render_item_val(nullptr), "");
  ASSERT_NE(render_set_get(nullptr, 0), nullptr);
  EXPECT_EQ(render_set_count(render_set_get(nullptr, 0)), 0);
}

TEST(RowRender, RefusesItemsThatRunPastThePayload) {
  const std::string good = item("key", "value");
  // Every cut inside the item lands in one of the three checks.
  for (size_t cut = 1; cut < good.size(); ++cut) {
    EXPECT_EQ(render_set_get(good.data(), static_cast<unsigned>(cut)), nullptr) << cut;
    EXPECT_EQ(row_render_for_query(good.data(), static_cast<unsigned>(cut)), nullptr) << cut;
    EXPECT_NE(std::string(row_render_error()).find("runs past the payload end"), std::string::npos);
  }
  std::string huge = good;
  huge[5] = '\xFF';  // value length far beyond the payload
  EXPECT_EQ(row_render_for_dump(huge.data(), static_cast<unsigned>(huge.size())), nullptr);
  EXPECT_STREQ(row_render_error(), "item 0: value runs past the payload end, offset 9 of 14");
  EXPECT_EQ(render_set_get(nullptr, 4), nullptr);
}

TEST(RowRender, RendersResultAndExportTexts) {
  const std::string data = item("subject", "a\tb\nc") + item("attachname", "x.doc") + item("attachpath", "/p/x.doc") +
                           item("attachname2", "y.pdf") + item("attachpath2", "/p/y.pdf") + item("to", "bob");
  RowRender* query = row_render_for_query(data.data(), static_cast<unsigned>(data.size()));
  ASSERT_NE(query, nullptr);
  EXPECT_STREQ(row_render_get(query), "subject=a b c; to=bob");
  EXPECT_STREQ(row_render_attach_name(query), "x.doc;y.pdf");
  EXPECT_STREQ(row_render_attach_path(query), "/p/x.doc;/p/y.pdf");
  RowRender* dump = row_render_for_dump(data.data(), static_cast<unsigned>(data.size()));
  ASSERT_NE(dump, nullptr);
  EXPECT_STREQ(row_render_get(dump),
               "subject=a b c\tattachname=x.doc\tattachpath=/p/x.doc\tattachname2=y.pdf\tattachpath2=/p/y.pdf\tto=bob");
  EXPECT_STREQ(row_render_get(row_render_for_query(nullptr, 0)), "");
}

}  // namespace
