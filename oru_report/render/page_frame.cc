#include "oru_report/render/page_frame.h"

#include "oru_report/render/page_assets.h"
#include "oru_report/text/escape.h"

namespace oru_report {

void BeginPage(const std::string& title, Output* output) {
  *output << "<!DOCTYPE html>\n<html lang=en><head><meta charset=utf-8>\n"
             "<meta name=viewport content=\"width=device-width, initial-scale=1\">\n"
             "<meta http-equiv=Content-Security-Policy content=\"default-src 'none'; "
             "style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n<title>"
          << ForHtml(title) << "</title>\n<style>" << kPageStyle << "</style></head>\n<body>\n";
}

void WriteNavigation(const char* what, Output* output) {
  *output << "<nav aria-label=\"Search and fold\"><input id=search type=search "
             "placeholder=\""
          << what
          << "\" aria-label=Search>"
             "<span id=found role=status></span><button id=fold>Unfold all</button></nav>\n";
}

void EndPage(Output* output) {
  *output << "<footer><kbd>/</kbd> search, <kbd>n</kbd> <kbd>p</kbd> next and previous, "
             "<kbd>u</kbd> unfold, <kbd>Esc</kbd> clear</footer>\n<script>"
          << kPageScript << "</script>\n</body></html>\n";
}

}  // namespace oru_report
