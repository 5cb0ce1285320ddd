// Fetches a JSON document over HTTP and prints one of its members:
//   first_steps http://127.0.0.1:5984/packages/bash version
#include "netweft/netweft.h"

#include <csignal>
#include <iostream>

namespace {

// [get]
bool PrintMember(const qx::Url& url, const std::string& name) {
  qx::http::HttpConnection connection(false);
  std::string text;
  std::string error;
  qx::http::HttpHelpers::HttpResult result;
  result.errorMessage = &error;
  if (!qx::http::HttpHelpers::HttpGetJson(connection, url, text, &result)) {
    std::cerr << url.toDisplayableUrl() << ": " << error << '\n';  // never toEncodedUrl(), which shows the password
    return false;
  }
  qx::qxVariantMapImpl document;
  if (!qx::json::Json2Variant::Convert(text.data(), text.size(), document)) return false;  // not a JSON object
  std::cout << document.getString(name, "(none)") << '\n';
  return true;
}
// [get]

}  // namespace

// [frame]
int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::signal(SIGPIPE, SIG_IGN);  // before the first thread starts
  qx::initializeNetweft(true, qx::http::HNRP_Whatever, qx::http::PP_NoProxy);
  bool good = false;
  {
    const qx::Url url(argv[1]);
    good = url.isValid() && PrintMember(url, argv[2]);
  }  // every object of the library is gone before the library ends
  qx::terminateNetweft();
  return good ? 0 : 1;
}
// [frame]
