#include "netweft/elasticsearch/ESConnectionParameters.h"

namespace qx::elasticsearch {

ESConnectionParameters::ESConnectionParameters() : Url(CS_DefaultHttp) { setSchema("http"); }

ESConnectionParameters::ESConnectionParameters(const Url& server) : Url(server) {}

ESConnectionParameters::ESConnectionParameters(const ESConnectionParameters& other) = default;

ESConnectionParameters::~ESConnectionParameters() = default;

ESConnectionParameters& ESConnectionParameters::operator=(const ESConnectionParameters& other) = default;

}  // namespace qx::elasticsearch
