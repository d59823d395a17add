#pragma once

#include <cstddef>
#include <cstdint>

struct jpeg_decompress_struct;

/// libjpeg as other libraries call it: they ask it for a picture and give it neither a deadline nor a limit of memory, and a
/// JPEG may consist of any number of passes over a picture that is held whole meanwhile.
/// Decoding that has a progress monitor of its own (our own has) is left alone.
namespace quillmate::leser::eingriffe {

class Jpegaufseher {
public:
    virtual ~Jpegaufseher() = default;
    [[nodiscard]] virtual bool
    weiter() = 0; ///< Asked for each row and each pass; false ends decoding with an error.
    /// Asked before so much is taken for a picture that has to be held whole; false as above.
    [[nodiscard]] virtual bool nimm(std::size_t bytes) = 0;
};

/// As long as this lives, `aufseher` is asked about all pictures whose decoding this thread begins.
/// Ownership: borrows `aufseher`, which must also outlive these pictures.
class JpegUnterAufsicht {
public:
    explicit JpegUnterAufsicht(Jpegaufseher& aufseher) noexcept;
    ~JpegUnterAufsicht();
    JpegUnterAufsicht(JpegUnterAufsicht const&) = delete;
    JpegUnterAufsicht& operator=(JpegUnterAufsicht const&) = delete;

private:
    Jpegaufseher* vorher_;
};

/// What a picture that has to be held whole takes, from its header.
[[nodiscard]] std::int64_t koeffizientenBytes(jpeg_decompress_struct const& jpeg);

} // namespace quillmate::leser::eingriffe
