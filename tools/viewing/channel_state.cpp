#include "channel_state.h"

#include <utility>

namespace trace
{

void ChannelState::set(ChannelAccess access, const std::string& holder)
{
    const std::lock_guard lock(m_lock);
    if (std::exchange(m_access, access) == access && m_holder == holder)
        return;
    m_holder = holder;
    switch (access)
    {
    case ChannelAccess::holding:
        m_news = "this viewer has the channel now" +
                 (holder.empty() ? "" : ", but can't pass its records on: " + holder);
        break;
    case ChannelAccess::following:
        m_news = holder + " has the channel now, and passes its records on";
        break;
    case ChannelAccess::stalled:
        m_news = holder + " has the channel but does not run: records are lost until it continues "
                          "or ends";
        break;
    case ChannelAccess::waiting:
        m_news = holder + " has the channel: this viewer takes it when it is free";
        break;
    }
}

std::string ChannelState::shut_out_by() const
{
    const std::lock_guard lock(m_lock);
    return m_access == ChannelAccess::waiting ? m_holder : "";
}

std::string ChannelState::what() const
{
    const std::lock_guard lock(m_lock);
    std::string channel = "the debug string channel";
    switch (m_access)
    {
    case ChannelAccess::holding:
        return channel + (m_holder.empty() ? "" : ", and can't pass its records on: " + m_holder);
    case ChannelAccess::following:
        return channel + ", which " + m_holder + " has and passes on";
    case ChannelAccess::stalled:
        return channel + ", which " + m_holder + " has, but does not run";
    case ChannelAccess::waiting:
        return channel + " as soon as it is free: " + m_holder + " has it";
    }
    return channel;
}

std::string ChannelState::take_news()
{
    const std::lock_guard lock(m_lock);
    return std::exchange(m_news, {});
}

} // namespace trace
