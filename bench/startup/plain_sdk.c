// The library that plain_dlopen opens.
int Upload(const char* app_id, const char* access_key_id, const char* access_key_secret,
           const char* security_token, const char* endpoint, const char* bucket,
           const char* log_path);

int Upload(const char* app_id, const char* access_key_id, const char* access_key_secret,
           const char* security_token, const char* endpoint, const char* bucket,
           const char* log_path) {
  (void)app_id;
  (void)access_key_id;
  (void)access_key_secret;
  (void)security_token;
  (void)endpoint;
  (void)bucket;
  (void)log_path;
  return 0;
}
