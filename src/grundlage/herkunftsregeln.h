#pragma once

#include "adresse.h"

#include <string_view>

/// Who is trusted with what, judged by where it comes from. Pure functions on addresses that were read once: what is
/// allowed here is exactly what is sent to afterwards.
/// Threads: any.
namespace quillmate {

/// Whether this is the service itself: https on one of eigeneHosts() with the usual port.
[[nodiscard]] bool istEigenerUrsprung(Ursprung const& ursprung);

/// Whether a document of this origin may speak to the bridge: the service's, or exactly the start address's.
[[nodiscard]] bool darfSprechen(Ursprung const& dokument, Adresse const& start);

/// The service that a page names for a scan or a search, which then gets the user's files and the token: the service
/// itself, the start address's origin, or, where the start address is a loopback one (somebody develops the service),
/// any loopback name and port. The path is free; a query or fragment makes no base address.
/// Errors: falscheForm, zuGross; nichtErlaubt for everybody else.
[[nodiscard]] Ergebnis<Adresse> dienstadresse(std::string_view server, Adresse const& start);

/// Whether a sign-in or bank connection at this address starts without asking: at the service itself, or at the start
/// address's host and port. Loopback names count as one host here.
[[nodiscard]] bool anmeldungOhneFrage(Adresse const& ziel, Adresse const& start);

} // namespace quillmate
