#include "portal/portalziel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

using namespace quillmate;

namespace {

/// The display names that are agreed, in their order.
constexpr std::string_view namen =
    "Amazon Web Services; Amazon; Adobe; Telekom; Vodafone; O2; IONOS; 1&1; Hetzner; STRATO; Microsoft "
    "365; GitHub; Dropbox; Zoom; Slack; Canva; Figma; Meta Ads; LinkedIn Ads; Uber; Deutsche Bahn; "
    "Notion; Atlassian; Cloudflare; DigitalOcean; Lexware Office; sevdesk; Microsoft Azure; Google Cloud; "
    "netcup; ALL-INKL; Mittwald; Contabo; OVHcloud; Scaleway; Vercel; Netlify; Akamai Linode; Vultr; "
    "Render; Railway; Fly; Heroku; Supabase; PlanetScale; MongoDB Atlas; Backblaze; Wasabi; Fastly; "
    "Bunny; Namecheap; GoDaddy; united-domains; INWX; dogado; webgo; domainfactory; Google Workspace; "
    "Apple; OpenAI; Anthropic; Perplexity; ElevenLabs; Midjourney; GitLab; JetBrains; Docker; Sentry; "
    "Datadog; Twilio; SendGrid; Postmark; Mailgun; Brevo; Mailchimp; ActiveCampaign; Klaviyo; HubSpot; "
    "Salesforce; Zendesk; Intercom; Freshworks; Pipedrive; Asana; monday; ClickUp; Miro; Airtable; "
    "Typeform; Calendly; Loom; Grammarly; 1Password; Bitwarden; LastPass; NordVPN; ExpressVPN; Zapier; "
    "Make; Retool; Webflow; Framer; Squarespace; Wix; WordPress; Ghost; Shopify; WooCommerce; Plausible "
    "Analytics; TeamViewer; AnyDesk; Doodle; Dashlane; Descript; congstar; sipgate; Placetel; easybell; "
    "fonial; M-net; NetCologne; EWE TEL; freenet; klarmobil; ALDI TALK; Lebara; winSIM; E.ON; EnBW; "
    "Vattenfall; Yello; LichtBlick; NATURSTROM; eprimo; enercity; Octopus Energy; Stadtwerke München; "
    "RheinEnergie; Mainova; ENTEGA; badenova; GASAG; Hamburg Energie; Deutsche Post; DHL; DPD; GLS; "
    "Hermes; FedEx; Sendcloud; shipcloud; Lufthansa; Eurowings; Ryanair; easyJet; KLM; SWISS; Condor; "
    "Booking; Airbnb; Expedia; FlixBus; Trainline; Omio; Accor; Marriott; Hilton; Motel One; NH Hotels; "
    "Premier Inn; SIXT; Europcar; Hertz; Avis; Buchbinder; Aral; Shell; Esso; TotalEnergies; DKV "
    "Mobility; UTA Edenred; Tesla; IONITY; Plugsurfing; Elli; FREENOW; Bolt; MILES; SHARE NOW; TIER; "
    "ADAC; BVG; hvv; RMV; OTTO; Conrad Electronic; reichelt elektronik; ALTERNATE; Cyberport; "
    "notebooksbilliger; MediaMarkt; Saturn; Galaxus; office discount; Viking; memo AG; IKEA; OBI; "
    "BAUHAUS; HORNBACH; toom Baumarkt; Contorion; RS Components; DigiKey; Mouser; Farnell; Thomann; "
    "engelbert strauss; Zalando; Printful; FLYERALARM; Vistaprint; WIRmachenDRUCK; Google Ads; Microsoft "
    "Advertising; TikTok Ads; Pinterest Ads; Snapchat Ads; X Ads; Criteo; Outbrain; Taboola; Semrush; "
    "Ahrefs; SISTRIX; Hotjar; Matomo; MailerLite; GetResponse; CleverReach; rapidmail; Finom; Qonto; "
    "Holvi; Kontist; N26; Revolut Business; Wise; Vivid Money; American Express; Pliant; Moss; Payhawk; "
    "Spendesk; Stripe; PayPal; SumUp; Zettle; Mollie; Allianz; AXA; ERGO; SIGNAL IDUNA; Gothaer; Hiscox; "
    "exali; Debeka; Barmenia; R+V; Techniker Krankenkasse; BARMER; DAK-Gesundheit; AOK; IHK; "
    "Handwerkskammer; Berufsgenossenschaft; GEMA; Rundfunkbeitrag; VG Wort; Künstlersozialkasse; "
    "Bundesanzeiger; Handelsregister; DATEV; Lexware; BuchhaltungsButler; Papierkram; FastBill; Billomat; "
    "Taxdoo; Agenda; Personio; Factorial; Kenjo; Sage; Circula; Pleo; CANDIS; GetMyInvoices; Spotify; "
    "Netflix; Audible; Udemy; Coursera; LinkedIn Premium; Handelsblatt; F.A.Z.; Süddeutsche Zeitung; DIE "
    "ZEIT; DER SPIEGEL; WirtschaftsWoche; Statista; Getty Images; Shutterstock; Adobe Stock; Envato; "
    "Epidemic Sound";

/// The entries that stand among them without an agreed name.
std::set<std::string_view> const weitere{"newrelic", "pyur", "ups", "airfrance", "mvg",        "boettcher",
                                         "wuerth",   "huk",  "hdi", "hostinger", "kaiserkraft"};

std::vector<std::string> zerlegt(std::string_view text, std::string_view trenner) {
    std::vector<std::string> teile;
    for (std::size_t i = 0;; i += trenner.size()) {
        auto const ende = text.find(trenner, i);
        teile.emplace_back(text.substr(i, ende - i));
        if (ende == std::string_view::npos)
            return teile;
        i = ende;
    }
}

/// The last two labels of a host: enough for the top-level domains in the catalogue.
std::string bereich(std::string const& wirt) {
    auto const punkt = wirt.rfind('.', wirt.rfind('.') - 1);
    return punkt == std::string::npos ? wirt : wirt.substr(punkt + 1);
}

Adresse adresse(std::string_view text) {
    return Adresse::lesen(text).value();
}

} // namespace

TEST(Katalog, Holds327EntriesBeginningWithAmazonWebServices) {
    ASSERT_EQ(portal::PortalZiel::alle().size(), 327U);
    EXPECT_EQ(portal::PortalZiel::alle().front().kennung, "aws");
    EXPECT_EQ(portal::PortalZiel::alle().front().name, "Amazon Web Services");
}

TEST(Katalog, HasTheAgreedNamesInTheAgreedOrderAndElevenMore) {
    std::vector<std::string> vereinbarte;
    std::set<std::string_view> gesehen;
    for (auto const& ziel : portal::PortalZiel::alle())
        if (weitere.contains(ziel.kennung))
            gesehen.insert(ziel.kennung);
        else
            vereinbarte.push_back(ziel.name);
    EXPECT_EQ(vereinbarte, zerlegt(namen, "; "));
    EXPECT_EQ(gesehen, weitere);
}

TEST(Katalog, KeysAreUniqueAsciiWords) {
    std::set<std::string> kennungen;
    for (auto const& ziel : portal::PortalZiel::alle()) {
        EXPECT_TRUE(kennungen.insert(ziel.kennung).second) << ziel.kennung;
        EXPECT_EQ(ziel.kennung.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_"), std::string::npos);
        EXPECT_NE(ziel.kennung, "weiteres");
    }
}

TEST(Katalog, KnownKeysHaveTheirNames) {
    std::map<std::string_view, std::string_view> const paare{
        {"amazon", "Amazon"},
        {"telekom", "Telekom"},
        {"einsundeins", "1&1"},
        {"sevdesk", "sevdesk"},
        {"microsoft365", "Microsoft 365"},
        {"meta_ads", "Meta Ads"},
        {"netcup", "netcup"},
        {"deutsche_bahn", "Deutsche Bahn"},
        {"hvv", "hvv"},
        {"airfrance", "Air France"},
        {"ups", "UPS"},
        {"wuerth", "Würth"}};
    for (auto const& [kennung, name] : paare) {
        auto const* const ziel = portal::PortalZiel::mitKennung(kennung);
        ASSERT_NE(ziel, nullptr) << kennung;
        EXPECT_EQ(ziel->name, name);
    }
    for (auto const* const kennung : {"", "weiteres", "AWS", "aws ", "gibt_es_nicht"})
        EXPECT_EQ(portal::PortalZiel::mitKennung(kennung), nullptr) << kennung;
}

TEST(Katalog, EveryAddressIsAPlainHttpsAddress) {
    for (auto const& ziel : portal::PortalZiel::alle()) {
        auto const& text = ziel.adresse.text();
        EXPECT_EQ(ziel.adresse.schema(), "https") << text;
        EXPECT_TRUE(ziel.adresse.wirt()) << text;
        EXPECT_FALSE(ziel.adresse.abfrage()) << text; // nothing that tells who sent the user
        EXPECT_TRUE(ziel.adresse.pfad().starts_with('/')) << text;
        EXPECT_EQ(text.find_first_of("@%", 0), std::string::npos) << text;
        EXPECT_EQ(text.find(':', 6), std::string::npos) << text;
    }
}

TEST(Katalog, NoAddressLeadsOverARedirectorOrAStranger) {
    // Only these vendors have several entries below one domain.
    std::map<std::string, std::set<std::string>> const geteilt{
        {"adobe.com", {"adobe", "adobe_stock"}},
        {"amazon.com", {"aws"}},
        {"google.com", {"google_cloud", "google_workspace", "google_ads"}},
        {"lexware.de", {"lexware_office", "lexware"}},
        {"linkedin.com", {"linkedin_ads", "linkedin_premium"}},
        {"microsoft.com", {"microsoft365", "microsoft_advertising"}},
    };
    std::set<std::string> const umleiter{"bit.ly",     "goo.gl", "t.co",     "tinyurl.com", "lnkd.in",
                                         "onelink.me", "ow.ly",  "app.link", "awin1.com",   "linktr.ee"};
    std::map<std::string, std::set<std::string>> nachBereich;
    for (auto const& ziel : portal::PortalZiel::alle())
        nachBereich[bereich(*ziel.adresse.wirt())].insert(ziel.kennung);
    for (auto const& [name, kennungen] : nachBereich) {
        EXPECT_FALSE(umleiter.contains(name)) << name;
        if (kennungen.size() > 1) {
            EXPECT_TRUE(geteilt.contains(name) && geteilt.at(name) == kennungen) << name;
        }
    }
}

TEST(WeiteresPortal, ANameKeepsOnlyItsInnerText) {
    auto const ziel =
        portal::PortalZiel::weiteres("\t \n Mein\tPortal \r\n", adresse("https://portal.example/a"));
    EXPECT_EQ(ziel.kennung, "weiteres");
    EXPECT_EQ(ziel.name, "MeinPortal");
    EXPECT_EQ(ziel.adresse.text(), "https://portal.example/a");
}

TEST(WeiteresPortal, ANameIsCutTo120Characters) {
    std::string lang;
    for (int i = 0; i < 130; ++i)
        lang += "ü";
    EXPECT_EQ(
        portal::PortalZiel::weiteres(lang, adresse("https://portal.example/")).name, lang.substr(0, 240));
}

TEST(WeiteresPortal, WithoutANameTheHostIsTheNameAndWithoutAHostAFixedText) {
    EXPECT_EQ(
        portal::PortalZiel::weiteres("", adresse("https://Portal.example:8443/a")).name, "portal.example");
    EXPECT_EQ(
        portal::PortalZiel::weiteres(" \t\n", adresse("https://portal.example/a")).name, "portal.example");
    EXPECT_EQ(portal::PortalZiel::weiteres("", adresse("about:blank")).name, "Weiteres Portal");
}
