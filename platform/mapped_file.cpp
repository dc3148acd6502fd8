#include "platform/mapped_file.h"

#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Tolmar::platform {

MappedStreamBuf::~MappedStreamBuf()
{
    if (base_ && size_ > 0) ::munmap(base_, size_);
}

bool MappedStreamBuf::open(std::string const& path)
{
    int const fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat st {};
    bool ok = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    if (ok && st.st_size > 0) {
        void* p = ::mmap(nullptr, static_cast<std::size_t>(st.st_size), PROT_READ, MAP_PRIVATE, fd, 0);
        if (p == MAP_FAILED) {
            ok = false;
        } else {
            base_ = static_cast<char*>(p);
            size_ = static_cast<std::size_t>(st.st_size);
        }
    }
    ::close(fd); // the mapping outlives the descriptor
    if (ok) setg(base_, base_, base_ + size_);
    return ok;
}

MappedStreamBuf::pos_type MappedStreamBuf::seekoff(off_type off, std::ios_base::seekdir dir,
                                                   std::ios_base::openmode which)
{
    if (!(which & std::ios_base::in)) return pos_type(off_type(-1));
    off_type const from = dir == std::ios_base::beg ? 0 : dir == std::ios_base::cur ? gptr() - eback()
                                                                                  : static_cast<off_type>(size_);
    off_type const target = from + off;
    if (target < 0 || target > static_cast<off_type>(size_)) return pos_type(off_type(-1));
    setg(eback(), eback() + target, egptr());
    return pos_type(target);
}

MappedStreamBuf::pos_type MappedStreamBuf::seekpos(pos_type pos, std::ios_base::openmode which)
{
    return seekoff(off_type(pos), std::ios_base::beg, which);
}

std::streamsize MappedStreamBuf::xsgetn(char* s, std::streamsize n)
{
    std::streamsize const avail = egptr() - gptr();
    std::streamsize const k = n < avail ? n : avail;
    if (k > 0) {
        std::memcpy(s, gptr(), static_cast<std::size_t>(k));
        consume(static_cast<std::size_t>(k));
    }
    return k;
}

std::streamsize MappedStreamBuf::showmanyc()
{
    std::streamsize const avail = egptr() - gptr();
    return avail > 0 ? avail : -1;
}

namespace {

class MappedIstream : public std::istream {
public:
    MappedIstream() : std::istream(nullptr) { rdbuf(&buf_); }
    bool open(std::string const& path) { return buf_.open(path); }

private:
    MappedStreamBuf buf_;
};

} // namespace

std::unique_ptr<std::istream> open_binary_input(std::string const& path)
{
    auto mapped = std::make_unique<MappedIstream>();
    if (mapped->open(path)) return mapped;
    auto file = std::make_unique<std::ifstream>(path, std::ios::binary);
    return file;
}

} // namespace Tolmar::platform
