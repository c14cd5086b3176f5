#include "platform/http_fetch.h"

#include <curl/curl.h>

#include <mutex>

namespace vitrella::platform {
namespace {

struct Reception {
  const FetchLimits* limits;
  std::string* body;
  size_t capacity;
};

// Takes what fits; a full buffer ends the transfer, so memory stays at its limit however
// long the answer is.
size_t Receive(char* data, size_t size, size_t count, void* user) {
  auto& reception = *static_cast<Reception*>(user);
  std::string& body = *reception.body;
  const size_t bytes = size * count;
  if (body.size() + bytes >= reception.limits->growAtBytes &&
      reception.capacity < reception.limits->maxBytes) {
    reception.capacity = reception.limits->maxBytes;
    body.reserve(reception.capacity);
  }
  const size_t room = reception.capacity - 1 - body.size();
  if (bytes > room) {
    body.append(data, room);
    return 0;  // stops the transfer
  }
  body.append(data, bytes);
  return bytes;
}

}  // namespace

FetchResult FetchAddress(const std::string& address, const std::string& agent,
                         const FetchLimits& limits) {
  FetchResult result;
  try {
    static std::once_flag started;
    std::call_once(started, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
    CURL* curl = curl_easy_init();
    if (curl == nullptr) return result;
    curl_slist* headers = curl_slist_append(nullptr, "Cache-Control: no-cache");
    headers = curl_slist_append(headers, "Pragma: no-cache");
    result.body.reserve(limits.firstBytes);
    Reception reception{&limits, &result.body, limits.firstBytes};

    curl_easy_setopt(curl, CURLOPT_URL, address.c_str());
    curl_easy_setopt(curl, CURLOPT_USERAGENT, agent.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curl, CURLOPT_MAXREDIRS, static_cast<long>(limits.maxRedirects));
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, limits.connectSeconds);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, limits.totalSeconds);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
    curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, limits.stallSeconds);
    curl_easy_setopt(curl, CURLOPT_BUFFERSIZE, 8192L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Receive);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reception);

    const CURLcode code = curl_easy_perform(curl);
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    // An answer counts once its headers came; a body cut short is still handed on.
    result.answered = code == CURLE_OK || (status != 0 && code != CURLE_TOO_MANY_REDIRECTS);
    if (!result.answered) result.body.clear();
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
  } catch (...) {
    result = {};
  }
  return result;
}

}  // namespace vitrella::platform
