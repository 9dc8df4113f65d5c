// Displays of the test's own: an X server in memory, on a free number, and a Wayland compositor
// without a screen. Linux only.
#pragma once

namespace test
{

class VirtualDisplay
{
public:
    // Points this process, and those that it starts, to the display, and allows windows to be
    // shown. The server ends with this process. On a failure the test fails or is skipped, and
    // names the missing program.
    VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;
    ~VirtualDisplay() = default; // doesn't end the server: windows use it until the process ends

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
