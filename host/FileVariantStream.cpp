#include "host/FileVariantStream.h"

#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

#include "foundation/Ma.h"
#include "foundation/log.h"
#include "platform/text_encoding.h"

namespace Tolmar::host {

namespace {

// The file: the magic word, a version, the values, and a checksum of all
// the bytes before it. A value is a type byte and its payload, little-endian.
constexpr char kMagic[4] = {'T', 'M', 'V', 'S'};
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kHeaderBytes = 8, kChecksumBytes = 4;
// No document holds anything near this; a larger file is not one of ours.
constexpr std::size_t kMostBytes = 64u << 20;
enum Type : unsigned char { Empty = 0, Int32 = 1, Double = 2, Bool = 3, Text = 4 };

template <class T>
void put(std::vector<unsigned char>& out, T value)
{
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    if constexpr (std::endian::native == std::endian::big) std::reverse(bytes, bytes + sizeof(T));
    out.insert(out.end(), bytes, bytes + sizeof(T));
}

template <class T>
T get(unsigned char const* p)
{
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, p, sizeof(T));
    if constexpr (std::endian::native == std::endian::big) std::reverse(bytes, bytes + sizeof(T));
    T value;
    std::memcpy(&value, bytes, sizeof(T));
    return value;
}

std::uint32_t checksum(unsigned char const* data, std::size_t bytes)
{
    return Ma::calculateChecksum(0x564d5453u, data, static_cast<unsigned int>(bytes));
}

bool fail(std::string* why, std::string text)
{
    if (why) *why = std::move(text);
    return false;
}

} // namespace

std::unique_ptr<FileVariantStream> FileVariantStream::create(std::string const& path, std::string* why)
{
    std::unique_ptr<FileVariantStream> s(new FileVariantStream);
    s->path_ = path;
    s->temp_ = path + ".tmp" + std::to_string(::getpid());
    std::ofstream probe(s->temp_, std::ios::binary | std::ios::trunc);
    if (!probe) {
        fail(why, "cannot write '" + s->temp_ + "' (" + std::strerror(errno) + ")");
        return nullptr;
    }
    s->writing_ = true;
    s->bytes_.assign(kMagic, kMagic + 4);
    put(s->bytes_, kVersion);
    return s;
}

std::unique_ptr<FileVariantStream> FileVariantStream::open(std::string const& path, std::string* why)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        fail(why, std::string("cannot open (") + std::strerror(errno) + ")");
        return nullptr;
    }
    in.seekg(0, std::ios::end);
    auto const size = static_cast<std::size_t>(std::max<std::streamoff>(in.tellg(), 0));
    if (size > kMostBytes) {
        fail(why, "is " + std::to_string(size) + " bytes, more than any saved document holds");
        return nullptr;
    }
    in.seekg(0);
    std::vector<unsigned char> bytes(size);
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
    if (!in) {
        fail(why, "cannot be read whole");
        return nullptr;
    }
    return from_bytes(std::move(bytes), why);
}

std::unique_ptr<FileVariantStream> FileVariantStream::from_bytes(std::vector<unsigned char> bytes, std::string* why)
{
    if (bytes.size() < kHeaderBytes + kChecksumBytes || std::memcmp(bytes.data(), kMagic, 4) != 0) {
        fail(why, "is not a saved document (no TMVS header)");
        return nullptr;
    }
    if (auto const version = get<std::uint32_t>(bytes.data() + 4); version != kVersion) {
        fail(why, "is a saved document of version " + std::to_string(version) + ", not " +
                      std::to_string(kVersion));
        return nullptr;
    }
    std::size_t const end = bytes.size() - kChecksumBytes;
    if (get<std::uint32_t>(bytes.data() + end) != checksum(bytes.data(), end)) {
        fail(why, "fails its checksum: it was cut short or changed after it was written");
        return nullptr;
    }
    std::unique_ptr<FileVariantStream> s(new FileVariantStream);
    s->bytes_ = std::move(bytes);
    s->at_ = kHeaderBytes;
    s->end_ = end;
    return s;
}

FileVariantStream::~FileVariantStream()
{
    if (writing_) std::remove(temp_.c_str());
}

bool FileVariantStream::write(Variant const& value)
{
    if (!writing_) return false;
    std::visit(
        [this](auto const& v) {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, std::monostate>) {
                bytes_.push_back(Empty);
            } else if constexpr (std::is_same_v<T, std::int32_t>) {
                bytes_.push_back(Int32);
                put(bytes_, v);
            } else if constexpr (std::is_same_v<T, double>) {
                bytes_.push_back(Double);
                put(bytes_, v);
            } else if constexpr (std::is_same_v<T, bool>) {
                bytes_.push_back(Bool);
                bytes_.push_back(v ? 1 : 0);
            } else {
                std::string const text = platform::to_utf8(v);
                bytes_.push_back(Text);
                put(bytes_, static_cast<std::uint32_t>(text.size()));
                bytes_.insert(bytes_.end(), text.begin(), text.end());
            }
        },
        value);
    return bytes_.size() + kChecksumBytes <= kMostBytes;
}

bool FileVariantStream::read(Variant& value)
{
    if (writing_ || at_ >= end_) return false;
    unsigned char const* p = bytes_.data() + at_ + 1;
    std::size_t const left = end_ - at_ - 1;
    switch (bytes_[at_]) {
    case Empty: value = std::monostate{}; at_ += 1; return true;
    case Int32:
        if (left < 4) return false;
        value = get<std::int32_t>(p);
        at_ += 5;
        return true;
    case Double:
        if (left < 8) return false;
        value = get<double>(p);
        at_ += 9;
        return true;
    case Bool:
        if (left < 1 || p[0] > 1) return false;
        value = p[0] == 1;
        at_ += 2;
        return true;
    case Text: {
        if (left < 4) return false;
        std::uint32_t const n = get<std::uint32_t>(p);
        if (n > left - 4) return false;
        value = platform::from_utf8(std::string_view(reinterpret_cast<char const*>(p + 4), n));
        at_ += 5 + n;
        return true;
    }
    default: return false;
    }
}

bool FileVariantStream::commit(std::string* why)
{
    if (!writing_) return fail(why, "is not being written");
    put(bytes_, checksum(bytes_.data(), bytes_.size()));
    {
        std::ofstream out(temp_, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<char const*>(bytes_.data()), static_cast<std::streamsize>(bytes_.size()));
        out.flush();
        if (!out) return fail(why, "cannot write '" + temp_ + "' (" + std::strerror(errno) + ")");
    }
    if (std::rename(temp_.c_str(), path_.c_str()) != 0)
        return fail(why, "cannot rename '" + temp_ + "' into place (" + std::strerror(errno) + ")");
    writing_ = false;
    return true;
}

} // namespace Tolmar::host

namespace Tolmar {

bool writeVariantStream(host::IVariantStream* stream, host::Variant const& value, char const* label)
{
    if (stream && stream->write(value)) return true;
    Util::logf("Error writing: %s", label);
    return false;
}

bool readVariantStream(host::IVariantStream* stream, host::Variant& value, char const* label)
{
    host::Variant read;
    if (stream && stream->read(read) && read.index() == value.index()) {
        value = std::move(read);
        return true;
    }
    Util::logf("Error reading: %s", label);
    return false;
}

} // namespace Tolmar
