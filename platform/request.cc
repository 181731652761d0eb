// The tables of names, and the destructors that give the host's abstract classes their home.

#include "host/request.h"

#include "host/context.h"
#include "host/response.h"

const char* const methodNames[kMethodCount] = {"UNKNOWN", "GET",     "HEAD",    "POST",  "PUT",
                                               "DELETE",  "CONNECT", "OPTIONS", "TRACE", "PATCH"};

const char* const protoNames[kProtoCount] = {"unknown", "http", "https", "ftp"};

Context::~Context() = default;

RequestBase::~RequestBase() = default;

Request::~Request() = default;

Response::~Response() = default;
