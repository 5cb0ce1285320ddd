#include "Documents.h"

#include <algorithm>

namespace documents {

namespace {

std::string MakeOrder(int number) {
  const std::string n = std::to_string(number);
  return R"({"_id":"order:2026:0000)" + n +
         R"(","_rev":"7-3f1c0b2a9d8e4f5061728394a5b6c7d8","type":"order",)"
         R"("created":"2026-04-17T09:31:22.481Z","modified":"2026-05-02T16:04:09.007Z","status":"shipped",)"
         R"("customer":{"id":)" +
         std::to_string(40000 + number) +
         R"(,"name":"Jos\u00e9 \"Pepe\" Ant\u00f3nio","mail":"pepe.antonio@example.org","vip":false,)"
         R"("address":{"street":"Rua das Flores 114, 3.º esq.","zip":"4050-262","city":"Porto","country":"PT"}},)"
         R"("tags":["priority","export","fragile","gift"],"currency":"EUR","total":1284.50,"tax":240.19,)"
         R"("discount":null,"paid":true,"warehouse":17,"lines":[)"
         R"({"sku":"A-10423-B","title":"Armchair, oak, linen cover","quantity":2,"price":389.00,"weight":14.2,"options":{"color":"sand","legs":"natural"}},)"
         R"({"sku":"L-00817","title":"Floor lamp \"Halo\" 160 cm","quantity":1,"price":219.90,"weight":6.75,"options":{"color":"black","bulb":"E27"}},)"
         R"({"sku":"T-55120-X","title":"Side table, smoked glass","quantity":1,"price":174.60,"weight":9.1,"options":{"color":"smoke","legs":"steel"}},)"
         R"({"sku":"C-20011","title":"Cushion 45x45, wool","quantity":4,"price":28.00,"weight":0.6,"options":{"color":"rust","fill":"feather"}}],)"
         R"("shipping":{"carrier":"Transportes Atlântico","tracking":"TA99817263541PT","cost":0,"events":[)"
         R"({"at":1776418282,"place":"Braga","code":10},{"at":1776504911,"place":"Porto","code":30},{"at":1776591544,"place":"Porto","code":40}]},)"
         R"("notes":"Cliente pediu entrega à tarde, entre as 14h e as 18h. Tocar à campainha do 3.º andar; se não estiver )"
         R"(ninguém, deixar com a vizinha do lado (D. Conceição).\nNão dobrar a caixa grande.","audit":{"by":"svc-import","host":"node-4",)"
         R"("checksum":"b1946ac92492d2347c6235b4d2611184","schema":3,"flags":[1,0,0,1,1]}})";
}

/// Numbers that look like chance and are the same in each run.
class Numbers {
 public:
  unsigned below(unsigned limit) {
    mState = mState * 6364136223846793005u + 1442695040888963407u;
    return static_cast<unsigned>(mState >> 33) % limit;
  }
  std::string digits(int count) {
    std::string text(1, static_cast<char>('1' + below(9)));
    while (--count > 0) text += static_cast<char>('0' + below(10));
    return text;
  }

 private:
  unsigned long long mState = 42;
};

std::string MakeUser(Numbers& numbers) {
  const std::string id = numbers.digits(10);
  return R"({"id":)" + id + R"(,"id_str":")" + id + R"(","name":"\u524d\u7530 あゆみ","screen_name":"ay)" +
         numbers.digits(6) +
         R"(","location":"","description":"元野球部マネージャー❤︎…最高の夏をありがとう…❤︎","url":null,)"
         R"("entities":{"description":{"urls":[]}},"protected":false,"followers_count":)" +
         numbers.digits(3) + R"(,"friends_count":)" + numbers.digits(3) +
         R"(,"listed_count":0,"created_at":"Sun Aug 31 07:11:49 +0000 2014","favourites_count":235,)"
         R"("utc_offset":null,"time_zone":null,"geo_enabled":false,"verified":false,"statuses_count":1769,"lang":"en",)"
         R"("contributors_enabled":false,"is_translator":false,"profile_background_color":"C0DEED",)"
         R"("profile_background_image_url":"http:\/\/images.example\/themes\/theme1\/bg.png",)"
         R"("profile_image_url":"http:\/\/images.example\/profiles\/497760886795153410\/LDjAwR_y_normal.jpeg",)"
         R"("profile_link_color":"0084B4","profile_text_color":"333333","profile_use_background_image":true,)"
         R"("default_profile":true,"default_profile_image":false,"following":false,"notifications":false})";
}

std::string MakeTweet(Numbers& numbers) {
  const std::string id = numbers.digits(18);
  return R"({"metadata":{"result_type":"recent","iso_language_code":"ja"},"created_at":"Sun Aug 31 00:29:15 +0000 2014","id":)" +
         id + R"(,"id_str":")" + id +
         R"(","text":"@aym0566x \n\n名前:前田あゆみ\n第一印象:なんか怖っ!\n今の印象:とりあえずキモい。噛み合わない","source":)"
         R"("<a href=\"http:\/\/example.com\/download\" rel=\"nofollow\">For phones<\/a>","truncated":false,)"
         R"("in_reply_to_status_id":null,"in_reply_to_status_id_str":null,"in_reply_to_user_id":866260188,)"
         R"("in_reply_to_screen_name":"aym0566x","user":)" +
         MakeUser(numbers) + R"(,"geo":null,"coordinates":null,"place":null,"contributors":null,"retweet_count":)" +
         numbers.digits(2) +
         R"(,"favorite_count":0,"entities":{"hashtags":[],"symbols":[],"urls":[],"user_mentions":[{"screen_name":"aym0566x",)"
         R"("name":"前田あゆみ","id":866260188,"id_str":"866260188","indices":[0,9]}]},"favorited":false,"retweeted":false,"lang":"ja"})";
}

std::string MakeTweets() {
  Numbers numbers;
  std::string text = R"({"statuses":[)";
  for (int i = 0; i < 200; ++i) text += (i == 0 ? "" : ",") + MakeTweet(numbers);
  return text +
         R"(],"search_metadata":{"completed_in":0.087,"max_id":505874924095815681,"query":"%E4%B8%80","count":200}})";
}

std::string MakePerformance(Numbers& numbers) {
  std::string text = "    {\n      \"eventId\": " + numbers.digits(9) + ",\n      \"id\": " + numbers.digits(9) +
                     ",\n      \"logo\": null,\n      \"name\": null,\n      \"prices\": [\n";
  const unsigned categories = 1 + numbers.below(4);
  for (unsigned i = 0; i < categories; ++i) {
    text += "        {\n          \"amount\": " + numbers.digits(5) +
            ",\n          \"audienceSubCategoryId\": 337100890,\n" +
            "          \"seatCategoryId\": " + numbers.digits(9) + "\n        }" + (i + 1 < categories ? ",\n" : "\n");
  }
  text += "      ],\n      \"seatCategories\": [\n";
  for (unsigned i = 0; i < categories; ++i) {
    text += "        {\n          \"areas\": [\n";
    const unsigned areas = 1 + numbers.below(12);
    for (unsigned k = 0; k < areas; ++k) {
      text += "            {\n              \"areaId\": " + numbers.digits(9) +
              ",\n              \"blockIds\": []\n            }" + (k + 1 < areas ? ",\n" : "\n");
    }
    text += "          ],\n          \"seatCategoryId\": " + numbers.digits(9) + "\n        }" +
            (i + 1 < categories ? ",\n" : "\n");
  }
  return text +
         "      ],\n      \"seatMapImage\": null,\n      \"start\": 1372701600000,\n      \"venueCode\": \"PLEYEL\"\n  "
         "  }";
}

std::string MakeCatalogue() {
  Numbers numbers;
  std::string text = "{\n  \"events\": {\n";
  for (int i = 0; i < 180; ++i) {
    const std::string id = numbers.digits(9);
    text += "    \"" + id + "\": {\n      \"description\": null,\n      \"id\": " + id +
            ",\n      \"logo\": \"/images/UE0AAAAACEKo6QAAAAZDSVRN\",\n      \"name\": \"Le siècle, concert n° " +
            id.substr(6) +
            "\",\n      \"subTopicIds\": [\n        337184269,\n        337184283\n      ],\n      \"subjectCode\": "
            "null,\n" +
            "      \"subtitle\": null,\n      \"topicIds\": [\n        324846099,\n        107888604\n      ]\n    }" +
            (i < 179 ? ",\n" : "\n");
  }
  text += "  },\n  \"performances\": [\n";
  for (int i = 0; i < 600; ++i) text += MakePerformance(numbers) + (i < 599 ? ",\n" : "\n");
  return text + "  ]\n}\n";
}

std::string MakeView() {
  std::string rows;
  for (int i = 0; rows.size() < 4 << 20; ++i) {
    rows += (rows.empty() ? R"({"id":"order:)" : R"(,{"id":"order:)") + std::to_string(i) + R"(","key":)" +
            std::to_string(i) + R"(,"doc":)" + MakeOrder(i) + "}";
  }
  return R"({"total_rows":2000,"offset":0,"rows":[)" + rows + "]}";
}

}  // namespace

const std::vector<Document>& All() {
  static const std::vector<Document> all = {
      {"order", MakeOrder(4711)}, {"tweets", MakeTweets()}, {"catalogue", MakeCatalogue()}, {"view", MakeView()}};
  return all;
}

const std::string& Get(const std::string& name) {
  return std::find_if(All().begin(), All().end(), [&](const Document& one) { return one.name == name; })->text;
}

}  // namespace documents
