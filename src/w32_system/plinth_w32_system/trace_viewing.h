// Receiving and showing traces.
#ifndef PLINTH_W32_SYSTEM_TRACE_VIEWING_H
#define PLINTH_W32_SYSTEM_TRACE_VIEWING_H

#include <atomic>
#include <cstdint>
#include <list>
#include <map>

#include "base.h"

// ------------------------------------------------------------------------------ trace viewing --

// One waiting text: up to 1,024 bytes, narrow; a text that fills the array has no terminator.
class QV_API CSyncCacheMember
{
public:
    explicit CSyncCacheMember(char* src); // null gives an empty text
    CSyncCacheMember(const CSyncCacheMember&) = default;
    CSyncCacheMember& operator=(const CSyncCacheMember& other); // copies the whole array

    char m_szText[1024]; // the text, then a terminator if there is room
};

// An unbounded first-in, first-out store of narrow texts that come out wide. Any number of threads
// may push and pop; copying needs a source at rest.
class QV_API CSyncCache
{
public:
    CSyncCache();
    ~CSyncCache();                                  // drops what still waits
    CSyncCache(const CSyncCache& other);            // copies the texts; the lock is its own
    CSyncCache& operator=(const CSyncCache& other); // the same

    // Appends a copy of the first 1,024 bytes of the text; null counts as empty. Always 0, unless
    // there is no memory: QV_ERR_FAILED, and the text is lost.
    int PushBack(char* src);

    // Takes the oldest text out into dst, which has room for 1,024 characters and is always
    // terminated (at most 1,023 are kept). 0, or QV_ERR_FAILED if the cache is empty.
    int PopFrontW(wchar_t* dst);

private:
    std::list<CSyncCacheMember> m_Items;
    CRITICAL_SECTION m_Lock;
};

class CDebugWindow;

// A window class description that starts as all zeroes with its size filled in.
class QV_API CWndClassEx : public WNDCLASSEXW
{
public:
    CWndClassEx();
    CWndClassEx(const CWndClassEx&) = default;
    CWndClassEx& operator=(const CWndClassEx& other); // copies the description
};

// That of the debug windows, "PLINTH_DEBUG_WINDOW", with the given procedure. It belongs to the
// application's module.
class QV_API CDbgWndClassEx : public CWndClassEx
{
public:
    explicit CDbgWndClassEx(WNDPROC pfnWndProc); // which the windows' messages go to
    CDbgWndClassEx(const CDbgWndClassEx&) = default;
    CDbgWndClassEx& operator=(const CDbgWndClassEx& other); // copies the description
};

// The objects of the debug string channel, as a listener holds them. A part of CDebugFramework, not
// for use by itself.
class COutDbgStringSync
{
public:
    // Makes the objects, as far as it can; quiet: no message box if another listener has them.
    explicit COutDbgStringSync(bool bQuiet);
    virtual ~COutDbgStringSync(); // closes what was made
    COutDbgStringSync(const COutDbgStringSync&) = delete;
    COutDbgStringSync& operator=(const COutDbgStringSync&) = delete;

    bool m_bValid;                    // all objects were made
    HANDLE m_eventDBWIN_BUFFER_READY; // the buffer is free
    HANDLE m_eventDBWIN_DATA_READY;   // a text is in the buffer
    HANDLE m_SharedFile;              // the mapping DBWIN_BUFFER
    void* m_SharedMem;                // its view: the sender's process id, then the text
    SECURITY_ATTRIBUTES m_sa;         // of all objects
    SECURITY_DESCRIPTOR m_sd;         // in m_sa: everybody may use them
};

// The receiving end of the debug string channel: a listener thread that takes each text of every
// process and frees the channel, an adder thread that hands the texts on to AddItem, one at a time,
// in order, with no lock held. The machine has room for one listener at a time.
//
// The full constructor opens the first debug window, with the identifier 0, and starts the threads.
// The short ones make the channel objects and start nothing: a subclass starts the threads.
//
// A forked child has no listener: its copy of the object does nothing, and lets go what its parent
// holds on to.
//
// A subclass that overrides AddItem and starts threads calls StopThreads in its own destructor,
// while its AddItem may still be called.
//
// A module that has one of its own ends it before FreeLibrary, not in its DllMain or in a static
// destructor: threads can't end while a module is unloaded, so each of this object's would be
// waited for in vain for 3,000 ms and then terminated. None is made there either: threads can't
// begin, and the constructor would wait for its window for ever. (The one of DiagOutputWnd goes
// with this library at once.)
class QV_API CDebugFramework
{
public:
    // hParent: the owner of the debug windows; null, or no window, for none. If another listener
    // runs a message box says so; the window opens all the same and stays empty.
    explicit CDebugFramework(HWND hParent);
    CDebugFramework();
    explicit CDebugFramework(bool bQuiet); // quiet: no message box if another listener runs
    CDebugFramework(const CDebugFramework&) = delete;
    CDebugFramework& operator=(const CDebugFramework&) = delete;

    // Opens a window for the identifier and returns once it is there. Without effect if there is
    // one, or no memory. Not while the threads run, unless on the adder thread.
    void CreateDebugWindow(int nId);

    // Shows the text as a row of the window that it names by a tag "|wndid:", a decimal number and
    // all that follows up to a blank. The tag counts at the very start of the text, or behind the
    // time stamp of a trace record. What is shown is the text without the tag, tabs dividing it
    // into columns. A text without a tag, or with the identifier 2147483647, is not shown. The
    // first identifier that comes gets the first window; further ones get windows of their own. A
    // window that the user has closed swallows its rows.
    virtual void AddItem(const wchar_t* text);

    // Ends the threads, waiting up to 3,000 ms for each before terminating it, then closes the
    // windows, with the same limit for each; texts that still wait are dropped.
    virtual ~CDebugFramework();

    // What the two threads run; pThis is the framework. The result means nothing.
    static unsigned int listener_thread_proc(void* pThis);
    static unsigned int adder_thread_proc(void* pThis);

protected:
    // Starts both threads. sourceFile: for the report of a failure.
    void StartThreads(const char* sourceFile);
    // Ends them, as the destructor does; without effect if there are none.
    void StopThreads();

    bool m_bFirstItem;                          // no row has been shown
    HWND m_hParent;                             // owner of the windows, may be null
    std::map<int32_t, CDebugWindow*> m_Windows; // by identifier; owned, the adder thread's
    std::atomic<int32_t> m_lPending;            // texts in the cache, and the adder's wake-up count
    HANDLE m_ListenerThread;                    // null while there is none
    uint32_t m_uListenerThreadId;               // the system's id of it
    std::atomic<bool> m_bListenerRun;           // false: the listener is to end
    HANDLE m_AdderThread;                       // null while there is none
    uint32_t m_uAdderThreadId;                  // the system's id of it
    std::atomic<bool> m_bAdderRun;              // false: the adder is to end
    COutDbgStringSync m_Sync;                   // the channel
    CSyncCache m_Cache;                         // texts that wait for the adder

private:
    void Renew();
    friend struct QvFrameworksAtFork;
    friend struct QvFrameworkThreads;

    std::atomic<uint32_t> m_ListenerStage; // how far the threads are
    std::atomic<uint32_t> m_AdderStage;
};

// Opens the trace window of the application: makes the one debug framework that the library keeps,
// until the process ends. With one there already nothing happens if recreate is 0; otherwise it is
// deleted and a new one made. parent: see CDebugFramework. Calls of several threads must not
// overlap. A CDebugFramework shows a trace record in the window that its "|wndid:" tag names.
extern "C" QV_API void DiagOutputWnd(HWND parent, int recreate);

class CQvDbgCapt;

// Receives every text that any process of the user sends to the debug string channel, from
// construction to destruction.
//
// The callback runs on a thread of the object, one text at a time, in order of arrival, with no
// lock held; the text, of at most 1,023 characters, is valid during the call. It must not destroy
// its own object. A callback that traces feeds itself. If another listener has the channel nothing
// arrives. The destructor waits up to 3,000 ms for a callback that runs, then ends its thread.
// While a module is unloaded it must not run, see CDebugFramework.
class QV_API CQvDebugOutputCapture
{
public:
    explicit CQvDebugOutputCapture(void (*pfn)(const wchar_t*)); // null: texts are discarded
    virtual ~CQvDebugOutputCapture();
    CQvDebugOutputCapture(const CQvDebugOutputCapture&) = delete;
    CQvDebugOutputCapture& operator=(const CQvDebugOutputCapture&) = delete;

private:
    CQvDbgCapt* m_pCapt;
    [[maybe_unused]] void (*m_pfnCallback)(const wchar_t*); // as it was given
};

#endif
