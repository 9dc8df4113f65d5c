// Rows of a list view with three cells each, against a deque of texts. Each length has a list of
// its own; the operations are measured at that length.
#include "curve.h"

#include <cstdio>
#include <deque>
#include <string>

#include <windows.h>

#include <commctrl.h>

#include "measure.h"

namespace load
{

namespace
{

constexpr int cells = 3;
constexpr int batch = 200; // operations, timed together

constexpr size_t cell_limit = 64;

void write_cell(wchar_t (&text)[cell_limit], int row, int column)
{
    char digits[cell_limit];
    const int length = std::snprintf(digits, sizeof digits, "cell %d of row %09d", column, row);
    for (int i = 0; i <= length; ++i)
        text[i] = static_cast<wchar_t>(digits[i]);
}

// The memory that the texts of a row take, with their terminators.
constexpr double bytes_of_texts = cells * (sizeof "cell 0 of row 000000000") * sizeof(wchar_t);

class List
{
public:
    List()
    {
        InitCommonControls();
        m_window = CreateWindowExW(0, WC_LISTVIEWW, nullptr, LVS_REPORT, 0, 0, 800, 600, nullptr,
                                   nullptr, nullptr, nullptr);
        require(m_window != nullptr, "no list view");
        for (int column = 0; column < cells; ++column)
        {
            LVCOLUMNW given = {};
            given.mask = LVCF_WIDTH;
            given.cx = 100;
            send(LVM_INSERTCOLUMNW, column, &given);
        }
    }
    List(const List&) = delete;
    List& operator=(const List&) = delete;
    ~List() { DestroyWindow(m_window); }

    void append(int row)
    {
        for (int column = 0; column < cells; ++column)
        {
            wchar_t text[cell_limit];
            write_cell(text, row, column);
            LVITEMW item = {};
            item.mask = LVIF_TEXT;
            item.iItem = row;
            item.iSubItem = column;
            item.pszText = text;
            send(column == 0 ? LVM_INSERTITEMW : LVM_SETITEMW, 0, &item);
        }
        send(LVM_ENSUREVISIBLE, row, nullptr);
    }
    void read(int row) const
    {
        for (int column = 0; column < cells; ++column)
        {
            wchar_t text[cell_limit];
            LVITEMW item = {};
            item.iSubItem = column;
            item.pszText = text;
            item.cchTextMax = cell_limit;
            require(send(LVM_GETITEMTEXTW, row, &item) > 0, "an empty cell");
        }
    }
    int rows() const { return static_cast<int>(send(LVM_GETITEMCOUNT, 0, nullptr)); }

private:
    LRESULT send(UINT message, int index, void* given) const
    {
        return SendMessageW(m_window, message, static_cast<WPARAM>(index),
                            reinterpret_cast<LPARAM>(given));
    }

    HWND m_window;
};

// The same texts without a window.
class Texts
{
public:
    void append(int row)
    {
        std::array<std::u16string, cells> texts;
        for (int column = 0; column < cells; ++column)
        {
            wchar_t text[cell_limit];
            write_cell(text, row, column);
            texts[static_cast<size_t>(column)] = reinterpret_cast<const char16_t*>(text);
        }
        m_rows.push_back(std::move(texts));
    }
    void read(int row) const
    {
        for (const std::u16string& cell : m_rows[static_cast<size_t>(row)])
        {
            char16_t text[cell_limit];
            cell.copy(text, cell.size());
            require(!cell.empty(), "an empty text");
        }
    }

private:
    std::deque<std::array<std::u16string, cells>> m_rows;
};

// Rows from all parts of the list, the same in each run.
int scattered(int number, int length)
{
    return static_cast<int>(static_cast<uint64_t>(number) * 2654435761u %
                            static_cast<uint64_t>(length));
}

// Appends the last batches to a list that then has this length.
template <class To> double append_to(To& to, int length, int batches)
{
    Series series;
    int row = 0;
    for (; row < length - batches * batch; ++row)
        to.append(row);
    while (row < length)
        series.add(timed(
            [&]
            {
                for (int i = 0; i < batch; ++i)
                    to.append(row++);
            }));
    return series.median() / batch;
}

template <class From> double read_from(const From& from, int length, int batches)
{
    Series series;
    int number = 0;
    for (int i = 0; i < batches; ++i)
        series.add(timed(
            [&]
            {
                for (int j = 0; j < batch; ++j)
                    from.read(scattered(number++, length));
            }));
    return series.median() / batch;
}

} // namespace

std::vector<Curve> measure_rows(bool quick)
{
    Curve curve("rows", "Rows of a list view, three cells each; ns for each row",
                {{"rows", "rows", 0},
                 {"add_ns", "adding one, ns", 0},
                 {"deque_add_ns", "to a deque, ns", 0},
                 {"add_per_deque", "ratio", 2},
                 {"read_ns", "reading one, ns", 0},
                 {"deque_read_ns", "from a deque, ns", 0},
                 {"read_per_deque", "ratio", 2},
                 {"row_bytes", "bytes a row beside its text", 0}});
    for (int length = 1'000; length <= (quick ? 1'000 : 1'000'000); length *= 10)
    {
        const int batches = quick ? 1 : length / batch < 50 ? length / batch : 50;
        double add = 0;
        double read = 0;
        double bytes = 0;
        {
            const double before = memory_now().heap;
            List list;
            add = append_to(list, length, batches);
            require(list.rows() == length, "rows are missing");
            bytes = (memory_now().heap - before) / length - bytes_of_texts;
            read = read_from(list, length, batches);
        }
        Texts texts;
        const double peer_add = append_to(texts, length, batches);
        const double peer_read = read_from(texts, length, batches);
        curve.add({static_cast<double>(length), add, peer_add, add / peer_add, read, peer_read,
                   read / peer_read, bytes});
    }
    return {curve};
}

} // namespace load
