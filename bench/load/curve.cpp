#include "curve.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace load
{

namespace
{

std::string quoted(const std::string& text)
{
    return text.find(',') == std::string::npos ? text : '"' + text + '"';
}

} // namespace

Curve::Curve(const char* name, const char* title, std::vector<Column> columns)
    : m_name(name), m_title(title), m_columns(std::move(columns))
{
}

void Curve::add(std::vector<double> values)
{
    if (values.size() != m_columns.size())
        throw std::logic_error(std::string(m_name) + ": a value for each column");
    m_rows.push_back({"", std::move(values)});
}

void Curve::add(std::string name, std::vector<double> values)
{
    values.insert(values.begin(), 0.0);
    add(std::move(values));
    m_rows.back().name = std::move(name);
}

std::string Curve::text(size_t row, size_t column) const
{
    if (column == 0 && !m_rows[row].name.empty())
        return m_rows[row].name;
    const double value = m_rows[row].values[column];
    if (std::isnan(value))
        return "";
    char digits[64];
    std::snprintf(digits, sizeof digits, "%.*f", m_columns[column].decimals, value);
    return digits;
}

// As wide as its heading and its longest value.
int Curve::width(size_t column) const
{
    size_t longest = std::max<size_t>(std::string(m_columns[column].heading).size(), 9);
    for (size_t row = 0; row < m_rows.size(); ++row)
        longest = std::max(longest, text(row, column).size());
    return static_cast<int>(longest);
}

void Curve::print() const
{
    std::printf("\n%s\n", m_title);
    for (size_t column = 0; column < m_columns.size(); ++column)
        std::printf("%*s ", width(column), m_columns[column].heading);
    std::printf("\n");
    for (size_t row = 0; row < m_rows.size(); ++row)
    {
        for (size_t column = 0; column < m_columns.size(); ++column)
            std::printf("%*s ", width(column), text(row, column).c_str());
        std::printf("\n");
    }
    std::fflush(stdout);
}

std::string Curve::csv() const
{
    std::string all;
    for (const Column& column : m_columns)
        all += std::string(all.empty() ? "" : ",") + column.name;
    all += '\n';
    for (size_t row = 0; row < m_rows.size(); ++row)
        for (size_t column = 0; column < m_columns.size(); ++column)
            all += quoted(text(row, column)) + (column + 1 < m_columns.size() ? "," : "\n");
    return all;
}

std::string Curve::markdown() const
{
    std::string all = "|";
    for (const Column& column : m_columns)
        all += std::string(" ") + column.heading + " |";
    all += "\n|";
    const bool named = !m_rows.empty() && !m_rows.front().name.empty();
    for (size_t column = 0; column < m_columns.size(); ++column)
        all += column == 0 && named ? "---|" : "---:|";
    all += '\n';
    for (size_t row = 0; row < m_rows.size(); ++row)
    {
        all += '|';
        for (size_t column = 0; column < m_columns.size(); ++column)
            all += ' ' + text(row, column) + " |";
        all += '\n';
    }
    return all;
}

bool Curve::write(const std::string& folder) const
{
    const std::string path = folder + "/" + m_name;
    std::ofstream values(path + ".csv");
    values << csv();
    std::ofstream table(path + ".md");
    table << markdown();
    return values.flush().good() && table.flush().good();
}

} // namespace load
