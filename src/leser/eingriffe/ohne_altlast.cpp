// Loading a language, the engine also builds a table of letters that its older recogniser confuses, although only
// the newer one is asked for: 13 MB in each reader, which nothing looks at. There is no switch for it. The engine's
// call ends up here, because the program's symbols come before those of a library it is linked with; a version of
// the engine without this function merely takes the memory again.

namespace tesseract {

class UNICHARSET;

class UnicharAmbigs {
public:
    void LoadUniversal(UNICHARSET const& zeichensatz, UNICHARSET* ziel);
};

void UnicharAmbigs::LoadUniversal(UNICHARSET const& /*zeichensatz*/, UNICHARSET* /*ziel*/) {}

} // namespace tesseract
