#include "platform/qt/qt_url.h"

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <algorithm>

namespace tovalin {
namespace {

// Unreserved, reserved and '%'. QUrl lets more pass, since it also reads addresses meant for
// people.
bool mayStandInUrl(unsigned char c) {
  constexpr std::string_view kMarks = "-._~:/?#[]@!$&'()*+,;=%";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         kMarks.find(static_cast<char>(c)) != std::string_view::npos;
}

class QtUrlParser : public UrlParser {
 public:
  std::optional<Url> parse(std::string_view text) const override {
    if (text.empty() || !std::all_of(text.begin(), text.end(), mayStandInUrl)) return std::nullopt;
    const auto size = static_cast<qsizetype>(text.size());
    if (!QUrl(QString::fromLatin1(text.data(), size), QUrl::StrictMode).isValid()) {
      return std::nullopt;
    }
    return Url{std::string(text)};
  }

  std::string encodeQueryValue(std::string_view text) const override {
    return QByteArray::fromRawData(text.data(), static_cast<qsizetype>(text.size()))
        .toPercentEncoding()
        .toStdString();
  }
};

}  // namespace

std::unique_ptr<UrlParser> makeQtUrlParser() {
  return std::make_unique<QtUrlParser>();
}

}  // namespace tovalin
