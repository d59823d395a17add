#include "seiten.h"

#include "grundlage/html.h"
#include "grundlage/text.h"

#include <fmt/format.h>

namespace quillmate::fenster {

namespace {

/// Characters of a foreign description that a page shows.
constexpr std::size_t hoechstlaenge = 2000;

std::string ersetzt(std::string_view text, char zeichen, std::string_view durch) {
    std::string ergebnis;
    for (char const c : text) {
        if (c == zeichen)
            ergebnis += durch;
        else
            ergebnis += c;
    }
    return ergebnis;
}

/// The common frame of the two pages that say what went wrong. `absaetze` is HTML.
std::string hinweisseite(std::string_view absaetze) {
    return fmt::format(
        R"(<!doctype html>
<html lang="de">
<head>
<meta charset="utf-8">
<meta name="color-scheme" content="light">
<title>Quillmate</title>
<style>
:root {{ color-scheme: light; }}
html, body {{ margin: 0; height: 100%; }}
body {{ background: linear-gradient(180deg, #fcfdfb 0%, #eef4ef 100%); display: grid; place-items: center;
       font: 14px/1.6 -apple-system, system-ui, sans-serif; color: rgb(22,24,26); }}
div {{ max-width: 34em; text-align: center; padding: 1.5rem; }}
.leise {{ color: rgb(107,115,112); font-size: 13px; }}
</style>
</head>
<body>
<div>
{}</div>
</body>
</html>
)",
        absaetze);
}

std::string gekuerzt(std::string_view text) {
    return fuerHtml(ersteZeichen(alsUtf8(text), hoechstlaenge));
}

} // namespace

std::string ladeseite() {
    // The background is the web application's own, so that nothing flashes when that replaces this page.
    return R"(<!doctype html>
<html lang="de">
<head>
<meta charset="utf-8">
<meta name="color-scheme" content="light">
<title>Quillmate</title>
<style>
:root { color-scheme: light; }
html, body { margin: 0; height: 100%; }
body { background: linear-gradient(180deg, #FCFEFC 0%, #EAF5ED 100%); display: grid; place-items: center;
       font: 13px/1.5 -apple-system, system-ui, sans-serif; color: rgb(107,115,112); }
</style>
</head>
<body>Quillmate &ndash; wird geladen &hellip;</body>
</html>
)";
}

std::string fehlerseite(std::string_view beschreibung) {
    return hinweisseite(fmt::format(
        R"(<p><b>Quillmate ist gerade nicht erreichbar.</b></p>
<p>Diese App zeigt dieselbe Oberfl&auml;che wie im Browser und
     braucht daf&uuml;r eine Internetverbindung &ndash; ohne Netz
     gibt es nichts anzuzeigen.</p>
<p class="leise">{}</p>
<p class="leise">Men&uuml; &bdquo;Ablage &rarr; Neu laden&ldquo;
     (&#8984;R) versucht es erneut.</p>
)",
        gekuerzt(beschreibung)));
}

std::string absturzseite(std::string_view grund) {
    return hinweisseite(fmt::format(
        R"(<p><b>Die Anzeige von Quillmate ist mehrmals abgest&uuml;rzt.</b></p>
<p>Deine Daten sind davon nicht betroffen. Ein erneutes Laden
     hat das Problem nicht behoben.</p>
<p class="leise">{}</p>
<p class="leise">Men&uuml; &bdquo;Ablage &rarr; Neu laden&ldquo;
     (Strg+R) versucht es erneut.</p>
)",
        gekuerzt(grund)));
}

std::string ansageskript() {
    // A region is announced when its text changes while it is one already.
    return "(() => {\n"
           "  const d = document.getElementById('qm-melde'), t = d?.firstChild;\n"
           "  if (!t) return;\n"
           "  d.setAttribute('role', 'status');\n"
           "  setTimeout(() => { t.data = t.data; }, 200);\n"
           "})();";
}

std::string meldeskript(std::string_view text, bool knopf) {
    // Carriage returns end a line of script as line feeds do.
    auto const geschuetzt =
        ersetzt(ersetzt(ersetzt(ersetzt(alsUtf8(text), '\\', "\\\\"), '"', "\\\""), '\n', " "), '\r', " ");
    std::string skript =
        "(() => {\n"
        "  document.getElementById('qm-melde')?.remove();\n"
        "  const d = document.createElement('div');\n"
        "  d.id = 'qm-melde';\n"
        "  d.style.cssText = \""
        "position:fixed;left:50%;bottom:20px;transform:translateX(-50%);z-index:2147483000;"
        "background:#16181a;color:#fff;padding:10px 16px;border-radius:8px;"
        "font:13px/1.4 -apple-system,system-ui,sans-serif;box-shadow:0 2px 10px rgba(0,0,0,.25);"
        "max-width:80vw"
        "\";\n"
        "  d.textContent = \"";
    skript += geschuetzt;
    skript += "\";\n  ";
    if (knopf)
        skript += "  const k = document.createElement('button');\n"
                  "  k.textContent = 'Im Finder zeigen';\n"
                  "  k.style.cssText = 'margin-left:12px;background:none;border:1px solid #fff6;'\n"
                  "    + 'color:#fff;border-radius:6px;padding:3px 9px;cursor:pointer;font:inherit';\n"
                  "  k.onclick = () => window.webkit.messageHandlers.quillmate\n"
                  "      .postMessage({aktion: 'zeigeDatei', id: 0});\n"
                  "  d.appendChild(k);";
    skript += "\n"
              "  document.body.appendChild(d);\n"
              "  setTimeout(() => d.remove(), 12000);\n"
              "})();";
    return skript;
}

} // namespace quillmate::fenster
