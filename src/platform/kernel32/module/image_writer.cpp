// All output passes through one buffer, and the checksum is computed when the buffer is written.
//
// Bytes from the old file are read from it again: the memory view only has the parts that were
// read.
#include "image_writer.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "pe/checksum.h"
#include "system/calls.h"
#include "system/write_all.h"

namespace platform
{

namespace
{

constexpr size_t buffer_size = size_t{1} << 18; // a multiple of four, as the checksum needs

// The operations return 0 or an errno.
class ImageWriter
{
public:
    ImageWriter(int fd, const OldImage& old) : m_fd(fd), m_old(old), m_buffer(buffer_size) {}

    int put(const pe::Bytes& piece)
    {
        const bool reads = is_old(piece);
        for (uint64_t done = 0; done < piece.size();)
        {
            size_t count = std::min<uint64_t>(buffer_size - m_filled, piece.size() - done);
            const uint8_t* const from = piece.data() + done;
            if (reads)
            {
                const ssize_t got =
                    sys::pread(m_old.fd, &m_buffer[m_filled], count, from - m_old.view.data());
                if (got <= 0)
                    return got == 0 ? EIO : errno; // nothing read: the file was cut
                count = static_cast<size_t>(got);
            }
            else
                std::memcpy(&m_buffer[m_filled], from, count);
            m_filled += count;
            done += count;
            if (m_filled == buffer_size)
                if (const int error = flush())
                    return error;
        }
        return 0;
    }

    int finish(uint64_t checksum_field)
    {
        if (const int error = flush())
            return error;
        const uint32_t sum = m_checksum.value();
        const ssize_t count =
            sys::pwrite(m_fd, &sum, sizeof sum, static_cast<off_t>(checksum_field));
        if (count < 0)
            return errno;
        return count == sizeof sum ? 0 : EIO;
    }

private:
    bool is_old(const pe::Bytes& piece) const
    {
        const std::less_equal<> no_later;
        const uint8_t* const start = m_old.view.data();
        return no_later(start, piece.data()) &&
               no_later(piece.data() + piece.size(), start + m_old.view.size());
    }

    int flush()
    {
        m_checksum.add({m_buffer.data(), m_filled});
        const int error = write_all(m_fd, m_buffer.data(), m_filled);
        m_filled = 0;
        return error;
    }

    const int m_fd;
    const OldImage& m_old;
    std::vector<uint8_t> m_buffer;
    size_t m_filled = 0;
    pe::Checksum m_checksum;
};

} // namespace

int write_image(int fd, const pe::Pieces& pieces, uint64_t checksum_field, const OldImage& old)
{
    ImageWriter writer(fd, old);
    for (const pe::Bytes& piece : pieces.all())
        if (const int error = writer.put(piece))
            return error;
    return writer.finish(checksum_field);
}

} // namespace platform
