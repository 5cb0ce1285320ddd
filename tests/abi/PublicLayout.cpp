// Prints the size and alignment in bytes of each class that the library exports: what a compiled host has built in.
#include "netweft/base/crypto/qxOpenSSL.h"
#include "netweft/base/system/LibInitCounter.h"
#include "netweft/base/system/SystemError.h"
#include "netweft/base/system/qxThreadPeriodicalUpdater.h"
#include "netweft/frame/Version.h"
#include "netweft/http/HttpProxyFinder.h"
#include "netweft/netweft.h"

#include <iostream>

namespace {

template <class Class>
void Print(const char* name) {
  std::cout << "class " << name << " size " << sizeof(Class) << " align " << alignof(Class) << '\n';
}

void PrintBase() {
  using namespace qx;
  Print<AsymmetricKey>("qx::AsymmetricKey");
  Print<EllipticCurveKey>("qx::EllipticCurveKey");
  Print<RSAKey>("qx::RSAKey");
  Print<qxOpenSSL>("qx::qxOpenSSL");
  Print<json::Json2Variant>("qx::json::Json2Variant");
  Print<json::JsonStreamer>("qx::json::JsonStreamer");
  Print<EnumHelperInterface>("qx::EnumHelperInterface");
  Print<impl::LibInitCounter>("qx::impl::LibInitCounter");
  Print<SystemError>("qx::SystemError");
  Print<qxCLocale>("qx::qxCLocale");
  Print<::qxHighResTimer>("qxHighResTimer");
  Print<qxIoDevice>("qx::qxIoDevice");
  Print<qxIoDeviceDelegable>("qx::qxIoDeviceDelegable");
  Print<qxLog>("qx::qxLog");
  Print<qxLogObject>("qx::qxLogObject");
  Print<qxLogSink>("qx::qxLogSink");
  Print<qxMutex>("qx::qxMutex");
  Print<qxStringUtils>("qx::qxStringUtils");
  Print<qxSystemUtils>("qx::qxSystemUtils");
  Print<qxThread>("qx::qxThread");
  Print<qxThreadPeriodicalUpdater>("qx::qxThreadPeriodicalUpdater");
  Print<qxTimer>("qx::qxTimer");
  Print<qxVariant>("qx::qxVariant");
  Print<qxVariantListImpl>("qx::qxVariantListImpl");
  Print<qxVariantMapImpl>("qx::qxVariantMapImpl");
  Print<qxWaitCondition>("qx::qxWaitCondition");
}

void PrintFrameAndAddressing() {
  using namespace qx;
  Print<Netweft::Version>("Netweft::Version");
  Print<http::HostNameResolutionPolicyEnumHelper>("qx::http::HostNameResolutionPolicyEnumHelper");
  Print<http::ProxyPolicyEnumHelper>("qx::http::ProxyPolicyEnumHelper");
  Print<http::SSLValidatePolicyEnumHelper>("qx::http::SSLValidatePolicyEnumHelper");
  Print<IpAddress>("qx::IpAddress");
  Print<Url>("qx::Url");
}

void PrintHttp() {
  using namespace qx::http;
  Print<ConnectionParameters>("qx::http::ConnectionParameters");
  Print<HttpConnection>("qx::http::HttpConnection");
  Print<HttpConnectionLocker>("qx::http::HttpConnectionLocker");
  Print<HttpConnectionPool>("qx::http::HttpConnectionPool");
  Print<HttpHelpers>("qx::http::HttpHelpers");
  Print<HttpHelpers::HttpResult>("qx::http::HttpHelpers::HttpResult");
  Print<HttpMultiConnection>("qx::http::HttpMultiConnection");
  Print<HttpProxyFinder>("qx::http::HttpProxyFinder");
  Print<qxIoDeviceHttpChuncked>("qx::http::qxIoDeviceHttpChuncked");
}

void PrintServers() {
  using namespace qx;
  Print<couch::ChangesListener>("qx::couch::ChangesListener");
  Print<couch::ConflictSolver>("qx::couch::ConflictSolver");
  Print<couch::CouchConnectionParameters>("qx::couch::CouchConnectionParameters");
  Print<couch::MultiThreadedDocumentGetter>("qx::couch::MultiThreadedDocumentGetter");
  Print<couch::MultiThreadedDocumentUpdater>("qx::couch::MultiThreadedDocumentUpdater");
  Print<couch::MultiThreadedDocumentUploader>("qx::couch::MultiThreadedDocumentUploader");
  Print<couch::ResolveConflictRequest>("qx::couch::ResolveConflictRequest");
  Print<couch::CouchToEsRiverManager>("qx::couch::CouchToEsRiverManager");
  Print<couch::IndexDefinition>("qx::couch::IndexDefinition");
  Print<couch::RiverParameters>("qx::couch::RiverParameters");
  Print<elasticsearch::ESConnectionParameters>("qx::elasticsearch::ESConnectionParameters");
  Print<elasticsearch::MultiThreadedDocumentGetter>("qx::elasticsearch::MultiThreadedDocumentGetter");
  Print<elasticsearch::SearchResultParserInterface>("qx::elasticsearch::SearchResultParserInterface");
}

void PrintTokensAndIcmp() {
  using namespace qx;
  Print<jwt::KeyProvider>("qx::jwt::KeyProvider");
  Print<jwt::KeyStore>("qx::jwt::KeyStore");
  Print<jwt::LocalKeyStore>("qx::jwt::LocalKeyStore");
  Print<jwt::Verifier>("qx::jwt::Verifier");
  Print<IcmpHostStatRetriever>("qx::IcmpHostStatRetriever");
}

}  // namespace

int main() {
  PrintBase();
  PrintFrameAndAddressing();
  PrintHttp();
  PrintServers();
  PrintTokensAndIcmp();
}
