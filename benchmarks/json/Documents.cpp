#include "Documents.h"

namespace documents {

namespace {

std::string MakeDocument(int number) {
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

std::string MakeLarge() {
  std::string text = R"({"total_rows":4000,"offset":0,"rows":[)";
  for (int i = 0; i < 4000; ++i) {
    if (i != 0) text += ",";
    text += R"({"id":"order:)" + std::to_string(i) + R"(","key":)" + std::to_string(i) + R"(,"doc":)" +
            MakeDocument(i) + "}";
  }
  return text + "]}";
}

}  // namespace

const std::string& Typical() {
  static const std::string text = MakeDocument(4711);
  return text;
}

const std::string& Large() {
  static const std::string text = MakeLarge();
  return text;
}

}  // namespace documents
