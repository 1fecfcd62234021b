#include "gateway/page/Files.h"

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace corvalux::gateway {

namespace {

namespace fs = std::filesystem;

/// By the end of their names; others are not served.
const std::map<std::string_view, const char*> types = {{".css", "text/css; charset=utf-8"},
                                                       {".html", "text/html; charset=utf-8"},
                                                       {".ico", "image/x-icon"},
                                                       {".js", "text/javascript; charset=utf-8"},
                                                       {".json", "application/json"},
                                                       {".png", "image/png"},
                                                       {".svg", "image/svg+xml"},
                                                       {".webmanifest", "application/manifest+json"}};

/// Only what the gateway serves itself; WebSockets by their scheme too, since older Safari does not count them to
/// 'self'.
constexpr const char* pagePolicy =
    "default-src 'self'; connect-src 'self' ws: wss:; frame-ancestors 'self'; base-uri 'none'; form-action 'none'";

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  std::string content{std::istreambuf_iterator<char>(stream), {}};
  if (stream.bad() || !stream) throw std::runtime_error("cannot read " + file.string());
  return content;
}

/// The names of all but the first page change with their content.
const char* cacheControlOf(const std::string& name) {
  return name.find('/') == std::string::npos ? "no-cache" : "public, max-age=31536000, immutable";
}

}  // namespace

Files::Files(const fs::path& folder) {
  std::size_t bytes = 0;
  std::error_code error;
  for (fs::recursive_directory_iterator each(folder, error), end; !error && each != end; each.increment(error)) {
    if (!each->is_regular_file()) continue;
    fs::path name = each->path().lexically_relative(folder);
    const bool gzip = name.extension() == ".gz";
    if (gzip) name.replace_extension();
    const auto type = types.find(name.extension().string());
    if (type == types.end()) continue;
    auto content = std::make_shared<const std::string>(contentOf(each->path()));
    bytes += content->size();
    if (bytes > mostBytes) throw std::runtime_error("the files in " + folder.string() + " are too large for a page");
    File& file = files[name.generic_string()];
    Response response{200, type->second, std::move(content)};
    response.cacheControl = cacheControlOf(name.generic_string());
    response.policy = pagePolicy;
    response.gzip = gzip;
    response.varies = true;
    (gzip ? file.gzipped : file.plain) = std::move(response);
  }
  if (error) throw std::runtime_error("cannot read " + folder.string() + ": " + error.message());
  std::erase_if(files, [](const auto& each) { return !each.second.plain.body; });
}

const Response* Files::Find(const std::vector<std::string>& path, bool gzip) const {
  std::string name;
  for (const std::string& segment : path) name += (name.empty() ? "" : "/") + segment;
  const auto found = files.find(name.empty() ? "index.html" : name);
  if (found == files.end()) return nullptr;
  return gzip && found->second.gzipped.body ? &found->second.gzipped : &found->second.plain;
}

}  // namespace corvalux::gateway
