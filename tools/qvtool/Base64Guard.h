#ifndef QVTOOL_BASE64GUARD_H
#define QVTOOL_BASE64GUARD_H

#include "qvcore/streams/StreamBase.h"

#include <memory>

namespace qvtool {

// Stands before a Base64 decoder and lets only Base64 text through: the alphabet, "=" at the
// end and line breaks. Anything else is an error naming its byte offset, or, with
// ignoreGarbage, skipped as base64(1) does; text that stops inside a group of four is an error
// too. The decoder alone would take such input silently. Errors are StreamBase::Exception code 3
// (MalformedData); the end of the text is code 5.
class Base64Guard : public InputStream {
public:
    Base64Guard(InputStream &source, bool ignoreGarbage) : InputStream(&source), ignoreGarbage_(ignoreGarbage) {}

    void Read(char *buffer, int count) override;
    int ReadSome(char *buffer, int count) override;
    int Peek(const char *&data) override;
    void Skip(int count) override;

private:
    static const int kGuardPiece = 1 << 20;

    /// Reads the next piece of the source into held_ and lets through what it may; throws at
    /// the end of the source.
    void Fill();
    /// Checks a piece in place (nothing is dropped).
    void checkPiece(const unsigned char *in, int count);
    /// Drops the garbage of a piece, moving what is kept to the front of held_; what is kept.
    std::size_t filterPiece(const unsigned char *in, int count);
    /// A byte the fast loops do not let through by themselves: the padding (marks padded),
    /// text after it, or garbage; at is its index in the piece.
    void checkSlow(unsigned char c, unsigned char kind, int at, bool &padded) const;

    bool ignoreGarbage_;
    // held_[at_, size_) is what the guard holds; the buffer is allocated once, and never
    // cleared, since a read may bring far less than it holds.
    std::unique_ptr<char[]> held_{new char[kGuardPiece]};
    std::size_t size_ = 0;
    std::size_t at_ = 0;
    unsigned long long offset_ = 0, symbols_ = 0;
    bool padded_ = false;
};

}  // namespace qvtool

#endif
