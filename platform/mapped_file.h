#pragma once
// Binary input streams over whole files. Where the file can be mapped into
// memory the stream reads from the mapping, and readers may take bytes from it
// in place instead of copying them; otherwise it is a plain file stream.
//
// A mapped file must not shrink while it is read: bytes past a new end would
// not exist. Files are measured when opened.

#include "platform/api.h"

#include <cstddef>
#include <istream>
#include <memory>
#include <streambuf>
#include <string>

TOLMAR_PUBLIC_BEGIN

namespace Tolmar::platform {

// A read-only mapping of a file, seen as a stream buffer.
class MappedStreamBuf : public std::streambuf {
public:
    MappedStreamBuf() = default;
    ~MappedStreamBuf() override;
    MappedStreamBuf(MappedStreamBuf const&) = delete;
    MappedStreamBuf& operator=(MappedStreamBuf const&) = delete;

    // Maps the whole file; false when it cannot be opened or mapped.
    bool open(std::string const& path);

    // The next n bytes in place, or null when fewer remain; consume() moves past them.
    char const* peek(std::size_t n) const
    {
        return static_cast<std::size_t>(egptr() - gptr()) >= n ? gptr() : nullptr;
    }
    void consume(std::size_t n) { setg(eback(), gptr() + n, egptr()); }
    // The whole mapping, for readers that pick bytes at known offsets from several threads.
    char const* data() const { return eback(); }
    std::size_t size() const { return size_; }

protected:
    pos_type seekoff(off_type off, std::ios_base::seekdir dir, std::ios_base::openmode which) override;
    pos_type seekpos(pos_type pos, std::ios_base::openmode which) override;
    std::streamsize xsgetn(char* s, std::streamsize n) override;
    std::streamsize showmanyc() override;

private:
    char* base_ = nullptr;
    std::size_t size_ = 0;
};

// Opens a file for binary reading: mapped where possible, a file stream
// otherwise. The stream's state tells whether the file opened.
std::unique_ptr<std::istream> open_binary_input(std::string const& path);

} // namespace Tolmar::platform

TOLMAR_PUBLIC_END
