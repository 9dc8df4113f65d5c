// Displays of the test's own: an X server in memory, on a number that is free, and a Wayland
// compositor without a screen. Linux only.
#pragma once

namespace test
{

class VirtualDisplay
{
public:
    // Points this process, and those that it starts, to the display, and lets windows be shown. The
    // server ends with this process. A failure is one of the test, which says what is missing.
    VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;
    ~VirtualDisplay() = default; // not before the process: windows stay on it until then

    explicit operator bool() const { return m_runs; }

private:
    bool m_runs = false;
};

// The same with a Wayland compositor.
class VirtualCompositor
{
public:
    VirtualCompositor();
    VirtualCompositor(const VirtualCompositor&) = delete;
    VirtualCompositor& operator=(const VirtualCompositor&) = delete;
    ~VirtualCompositor() = default;

    explicit operator bool() const { return m_runs; }

private:
    bool m_runs = false;
};

} // namespace test
