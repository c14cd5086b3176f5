#include "support/help_address.h"

#include <cctype>
#include <string>

#include "platform/platform_name.h"

namespace vitrella {
namespace {

bool Holds(const KZUnicodeString& text, const char16_t* what) {
  return text.Find(KZUnicodeString(what)) < text.Length();
}

KZUnicodeString Wide(const char* text) {
  return KZUnicodeString::FromUtf8(text);
}

}  // namespace

bool IsWebHelp(const KZUnicodeString& location) {
  return location.Mid(0, 4).EqualNoCase(u"http");
}

KZUnicodeString CompleteHelpAddress(const KZUnicodeString& address, const KZString& collectionKey,
                                    const char* language, int32_t topic) {
  KZUnicodeString out = address;
  if (out.Find(u"?", 0) == KZUnicodeString::kNotFound) out.Append(u"?dummy=0");
  if (!collectionKey.IsEmpty() && !Holds(out, u"collection=")) {
    out.Append(u"&collection=");
    out.Append(KZUnicodeString::FromUtf8(collectionKey));
  }
  if (!Holds(out, u"platform=")) {
    out.Append(u"&platform=");
    out.Append(Wide(platform::kHelpPlatform));
  }
  // The help server's default host, whatever host asks.
  if (!Holds(out, u"nle=")) out.Append(u"&nle=Vegas");
  KZString code = language != nullptr ? KZString(language) : KZString();
  if (!code.IsEmpty()) {
    code = code.Mid(0, 1).Upper().Concatenate(code.Mid(1));
    out.Append(u"&language=");
    out.Append(KZUnicodeString::FromUtf8(code));
  }
  out.Append(u"&id=");
  out.Append(Wide(std::to_string(topic).c_str()));
  return out;
}

KZUnicodeString HelpFileAddress(const KZUnicodeString& path, int32_t topic) {
  // Bytes other than letters, digits, "/-._~" are escaped, so that a blank or a '#' in a
  // folder's name stays part of the path.
  std::string escaped = "file://";
  const KZString bytes = path.ToUtf8();
  for (uint64_t i = 0; i < bytes.Length(); ++i) {
    const auto c = static_cast<unsigned char>(bytes.Data()[i]);
    if (std::isalnum(c) != 0 || c == '/' || c == '-' || c == '.' || c == '_' || c == '~') {
      escaped += static_cast<char>(c);
    } else {
      constexpr char kHex[] = "0123456789ABCDEF";
      escaped += {'%', kHex[c >> 4], kHex[c & 15]};
    }
  }
  KZUnicodeString out = Wide(escaped.c_str());
  out.Append(u"#topic-");
  out.Append(Wide(std::to_string(topic).c_str()));
  return out;
}

}  // namespace vitrella
