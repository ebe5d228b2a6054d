#include "agentfloor.h"

#include <curl/curl.h>
#include <stdio.h>
#include <stdlib.h>

static size_t count_bytes(char* bytes, size_t size, size_t count, void* total) {
  (void)bytes;
  *(size_t*)total += size * count;
  return size * count;
}

static struct curl_slist* headers_of(const char* action) {
  char line[128];
  snprintf(line, sizeof line, "SOAPAction: \"%s\"", action);
  return curl_slist_append(curl_slist_append(NULL, "Content-Type: text/xml; charset=utf-8"), line);
}

static CURL* prepared(const char* url, struct curl_slist* headers, const char* body,
                      size_t* total) {
  CURL* handle = curl_easy_init();
  if (handle == NULL) abort();
  curl_easy_setopt(handle, CURLOPT_URL, url);
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
  curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body);
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, count_bytes);
  curl_easy_setopt(handle, CURLOPT_WRITEDATA, total);
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_PROXY, "");
  return handle;
}

static int answered(CURL* handle) {
  long status = 0;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
  return status == 200;
}

size_t floor_post(const char* url, const char* action, const char* body) {
  size_t total = 0;
  struct curl_slist* headers = headers_of(action);
  CURL* handle = prepared(url, headers, body, &total);
  if (curl_easy_perform(handle) != CURLE_OK || !answered(handle)) total = 0;
  curl_easy_cleanup(handle);
  curl_slist_free_all(headers);
  return total;
}

size_t floor_post_all(const char* const* urls, size_t count, const char* action, const char* body,
                      size_t limit) {
  size_t total = 0, done = 0;
  struct curl_slist* headers = headers_of(action);
  CURL** handles = calloc(count, sizeof *handles);
  CURLM* multi = curl_multi_init();
  if (handles == NULL || multi == NULL) abort();
  curl_multi_setopt(multi, CURLMOPT_MAX_TOTAL_CONNECTIONS, (long)limit);
  for (size_t i = 0; i < count; ++i) {
    handles[i] = prepared(urls[i], headers, body, &total);
    curl_multi_add_handle(multi, handles[i]);
  }
  for (int running = 1; running > 0;) {
    curl_multi_perform(multi, &running);
    if (running > 0) curl_multi_poll(multi, NULL, 0, 1000, NULL);
  }
  for (size_t i = 0; i < count; ++i) {
    if (answered(handles[i])) ++done;
    curl_multi_remove_handle(multi, handles[i]);
    curl_easy_cleanup(handles[i]);
  }
  curl_multi_cleanup(multi);
  free(handles);
  curl_slist_free_all(headers);
  return done;
}
