#pragma once

#include "ergebnis.h"

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillmate {

/// Where a page or a service comes from: scheme, host and the port that is connected to. Two of them are equal when a
/// web engine calls them the same origin. Plain value; any thread.
struct Ursprung {
    std::string schema; ///< "http" or "https".
    std::string wirt;   ///< As Adresse::wirt().
    std::uint16_t anschluss{0};

    /// Reads an origin as engines write it ("https://a.example:8443"). An address with more than that is none, nor is
    /// "null".
    [[nodiscard]] static Ergebnis<Ursprung> lesen(std::string_view text);
    /// As engines write it: without the port that the scheme has anyway.
    [[nodiscard]] std::string text() const;

    friend bool operator==(Ursprung const&, Ursprung const&) = default;
};

/// One item of a query. Keeps what was written beside what it means, so that items of a foreign address pass on
/// unchanged ("+" stays "+").
class Posten {
public:
    /// An item of our own: both are escaped so that no reader can take a part of them for anything else.
    Posten(std::string_view name, std::string_view wert);
    /// An item as it stands in a query.
    [[nodiscard]] static Posten geschrieben(std::string_view roh);

    [[nodiscard]] std::string const& name() const noexcept { return name_; }
    /// Decoded; nothing when there is no "=".
    [[nodiscard]] std::optional<std::string> const& wert() const noexcept { return wert_; }
    [[nodiscard]] std::string const& roh() const noexcept { return roh_; }

    friend bool operator==(Posten const&, Posten const&) = default;

private:
    Posten() = default;
    std::string name_;
    std::optional<std::string> wert_;
    std::string roh_;
};

/// An absolute address that has been read once: who judges it and who sends something to it see the same host, port and
/// path.
///
/// Web addresses (http, https) are held in the one form in which libcurl and the web engine agree on them: scheme and
/// host in lower case, hosts beyond ASCII as IDNA, IP addresses in their usual form, no default port, no dot segments.
/// What those two could read in different ways is refused: "\", a user, "%" or another notation of numbers in the host,
/// anything but exactly "//" behind the scheme. Every other scheme ("quillmate:", "about:", "data:", "mailto:") has an
/// opaque rest that is kept as it was written.
///
/// Plain value, safe to copy between threads.
class Adresse {
public:
    /// Longest address that is one, in bytes.
    static constexpr std::size_t hoechsteLaenge = 65'536;
    /// Longest address that a person types.
    static constexpr std::size_t hoechsteGetippte = 8'192;

    /// Reads an address that keeps to RFC 3986; of letters beyond it only those of a host are understood.
    /// Errors: falscheForm, zuGross.
    [[nodiscard]] static Ergebnis<Adresse> lesen(std::string_view text);
    /// Reads what a web engine or a browser hands over. Characters that an engine leaves in path, query and fragment
    /// although no address may hold them ("|", "{") are escaped; the host is never changed.
    [[nodiscard]] static Ergebnis<Adresse> vomMotor(std::string_view text);
    /// Reads what a person typed: blanks around it are dropped, "https://" may be left out, and nothing but https is
    /// accepted. Blanks and letters beyond ASCII in the path are escaped; control characters are refused.
    [[nodiscard]] static Ergebnis<Adresse> getippt(std::string_view text);

    [[nodiscard]] std::string const& text() const noexcept { return text_; }
    [[nodiscard]] std::string const& schema() const noexcept { return schema_; } ///< Lower case.
    /// Lower case for web addresses, which always have one, "[::1]" with its brackets; as it was written for other
    /// schemes. Nothing for an address without.
    [[nodiscard]] std::optional<std::string> const& wirt() const noexcept { return wirt_; }
    /// The port when it is written and not the scheme's own.
    [[nodiscard]] std::optional<std::uint16_t> anschluss() const noexcept { return anschluss_; }
    /// The port that is connected to; nothing for schemes without a usual one.
    [[nodiscard]] std::optional<std::uint16_t> wirksamerAnschluss() const noexcept;
    [[nodiscard]] std::string const& pfad() const noexcept { return pfad_; } ///< Undecoded; may be empty.
    /// The path with its escapes resolved, as the server understands it. May hold any bytes.
    [[nodiscard]] std::string lesbarerPfad() const;
    [[nodiscard]] std::optional<std::string> const& abfrage() const noexcept {
        return abfrage_;
    } ///< Without "?".
    /// The items of the query in their order.
    [[nodiscard]] std::vector<Posten> posten() const;
    [[nodiscard]] std::optional<std::string> const& bruchstueck() const noexcept { return bruchstueck_; }

    /// Nothing unless it is a web address.
    [[nodiscard]] std::optional<Ursprung> ursprung() const;
    [[nodiscard]] bool istWeb() const noexcept;    ///< http or https
    [[nodiscard]] bool istSicher() const noexcept; ///< https
    /// Whether a web address names this machine: "localhost", 127.0.0.0/8, "[::1]".
    [[nodiscard]] bool istSchleife() const noexcept;

    /// The same scheme, host and port with another path, without query and fragment.
    /// Errors: falscheForm when no address comes of it, or when this one has no host.
    [[nodiscard]] Ergebnis<Adresse> mit(std::string_view pfad) const;
    /// The same with a query of these items; "?" alone when there are none.
    [[nodiscard]] Ergebnis<Adresse> mit(std::string_view pfad, std::vector<Posten> const& posten) const;
    /// As mit(), with the path behind this one's own: what a service's base address becomes for one endpoint.
    [[nodiscard]] Ergebnis<Adresse> darunter(std::string_view pfad, std::vector<Posten> const& posten) const;
    /// The same address with another query; the fragment stays.
    [[nodiscard]] Ergebnis<Adresse> mitPosten(std::vector<Posten> const& posten) const;
    /// The same address without query and fragment: what a log may hold.
    [[nodiscard]] Adresse ohnePosten() const;

    friend bool operator==(Adresse const& a, Adresse const& b) noexcept { return a.text_ == b.text_; }

private:
    Adresse() = default;
    [[nodiscard]] static Ergebnis<Adresse> webAdresse(std::string_view text, std::size_t doppelpunkt);
    [[nodiscard]] static Adresse undurchsichtige(std::string_view text, std::size_t doppelpunkt);
    [[nodiscard]] std::string anfang() const; ///< "https://host:port"
    void zusammensetzen();

    std::string text_;
    std::string schema_;
    std::optional<std::string> wirt_;
    std::optional<std::uint16_t> anschluss_;
    std::string pfad_;
    std::optional<std::string> abfrage_;
    std::optional<std::string> bruchstueck_;
};

/// The scheme of any text in lower case, without ":"; empty when there is none. For texts that are no Adresse for their
/// length alone ("data:…").
[[nodiscard]] std::string schemaVon(std::string_view text);

/// Resolves percent escapes; what is none stays.
[[nodiscard]] std::string ohneProzent(std::string_view text);

/// Everything but the unreserved characters of RFC 3986 as percent escapes: fits into a query as a name or a value, and
/// no reader can take a "+" in it for a blank.
[[nodiscard]] std::string mitProzent(std::string_view text);

} // namespace quillmate
