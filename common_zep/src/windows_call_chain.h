#pragma once

// Where a suspended thread is. Part of the translation unit thread_windows.cpp.
//
// Nothing here may allocate or lock between the suspension and the resumption of the thread, which may hold the lock.
// The system's own search for the frame table of a function does lock, so that the tables are sought here, in a list of
// loaded modules that was made ahead.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include <windows.h>

#include <tlhelp32.h>

namespace common_zep {
namespace {

/// A loaded object of the process.
struct Module
{
    std::uintptr_t begin;
    std::uintptr_t end;
    RUNTIME_FUNCTION * functions; // sorted by address
    std::size_t functionCount;
    bool isOfWaits; // what a wait goes through, and what holds no lock meanwhile

    bool contains(std::uintptr_t address) const { return address >= begin && address < end; }

    /// The entry of its frame table for a program counter; null for a function without a frame.
    RUNTIME_FUNCTION * findFunction(std::uintptr_t counter) const
    {
        auto const offset = static_cast<DWORD>(counter - begin);
        RUNTIME_FUNCTION * const next =
            std::upper_bound(functions, functions + functionCount, offset,
                             [](DWORD value, RUNTIME_FUNCTION const & entry) { return value < entry.BeginAddress; });
        return next != functions && offset < next[-1].EndAddress ? next - 1 : nullptr;
    }
};

class Modules
{
public:
    Modules()
    {
        HANDLE const snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPMODULE, 0);
        if (snapshot == INVALID_HANDLE_VALUE) {
            return; // every place is elsewhere then
        }
        MODULEENTRY32 found = {};
        found.dwSize = sizeof(found);
        for (BOOL isThere = Module32First(snapshot, &found); isThere != FALSE;
             isThere = Module32Next(snapshot, &found)) {
            add(found);
        }
        CloseHandle(snapshot);
        HMODULE const ntdll = GetModuleHandleA("ntdll.dll");
        for (char const * const name :
             {"NtDelayExecution", "NtWaitForSingleObject", "NtWaitForMultipleObjects", "NtWriteFile", "NtReadFile"}) {
            m_waits.push_back(reinterpret_cast<std::uintptr_t>(GetProcAddress(ntdll, name)));
        }
    }

    Module const * find(std::uintptr_t address) const
    {
        for (Module const & module : m_modules) {
            if (module.contains(address)) {
                return &module;
            }
        }
        return nullptr;
    }

    /// Whether it is behind the system call of a function that only waits.
    bool isWait(std::uintptr_t counter) const
    {
        constexpr std::uintptr_t kLongestStub = 32;
        return std::any_of(m_waits.begin(), m_waits.end(), [counter](std::uintptr_t wait) {
            return wait != 0 && counter > wait && counter - wait < kLongestStub;
        });
    }

private:
    void add(MODULEENTRY32 const & found)
    {
        Module module = {};
        module.begin = reinterpret_cast<std::uintptr_t>(found.modBaseAddr);
        module.end = module.begin + found.modBaseSize;
        auto const * const dosHeader = reinterpret_cast<IMAGE_DOS_HEADER const *>(module.begin);
        auto const * const headers =
            reinterpret_cast<IMAGE_NT_HEADERS const *>(module.begin + static_cast<std::uintptr_t>(dosHeader->e_lfanew));
        IMAGE_DATA_DIRECTORY const & table = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXCEPTION];
        module.functions = reinterpret_cast<RUNTIME_FUNCTION *>(module.begin + table.VirtualAddress);
        module.functionCount = table.Size / sizeof(RUNTIME_FUNCTION);
        for (char const * const name : {"ntdll.dll", "kernelbase.dll", "kernel32.dll"}) {
            module.isOfWaits = module.isOfWaits || _stricmp(found.szModule, name) == 0;
        }
        m_modules.push_back(module);
    }

    std::vector<Module> m_modules;
    std::vector<std::uintptr_t> m_waits;
};

/// What a walk through the frames of a suspended thread found, from where it is to its entry.
struct CallChain
{
    bool hasReachedEntry = false;
    bool isInWait = false; // the program itself has called the system, which waits
    std::uintptr_t returnToEntry =
        0; // where the address is by which the thread comes back to its entry; 0 if it is there
};

/// @param outermost  the function in which the chain ends
/// @param orHere     a program counter at which it ends as well
CallChain walk(Modules const & modules, CONTEXT context, std::uintptr_t outermost, std::uintptr_t orHere)
{
    constexpr unsigned kMostFrames = 200;
    // Waits of the runtime for one of its own locks come through more functions of the system than plain ones.
    constexpr unsigned kMostFramesOfWait = 4;
    CallChain chain;
    bool const isInWait = modules.isWait(context.Rip);
    bool isStillSystem = true;
    std::uintptr_t whereReturnStands = 0;
    for (unsigned frame = 0; frame < kMostFrames; ++frame) {
        Module const * const module = modules.find(context.Rip);
        if (module == nullptr) {
            return chain;
        }
        RUNTIME_FUNCTION * const function = module->findFunction(context.Rip);
        bool const isOutermost =
            module->contains(outermost) && function != nullptr && function == module->findFunction(outermost);
        if (isOutermost || context.Rip == orHere) {
            chain.hasReachedEntry = frame != 0;
            return chain;
        }
        if (isStillSystem && !module->isOfWaits) {
            isStillSystem = false;
            chain.isInWait = isInWait && frame <= kMostFramesOfWait;
        }
        chain.returnToEntry = whereReturnStands;
        if (function != nullptr) {
            void * handlerData = nullptr;
            DWORD64 establisher = 0;
            RtlVirtualUnwind(UNW_FLAG_NHANDLER, module->begin, context.Rip, function, &context, &handlerData,
                             &establisher, nullptr);
        } else { // nothing but a return address
            std::memcpy(&context.Rip, reinterpret_cast<void const *>(context.Rsp), sizeof(context.Rip));
            context.Rsp += sizeof(context.Rip);
        }
        whereReturnStands = context.Rsp - sizeof(context.Rip);
    }
    return chain;
}

} // namespace
} // namespace common_zep
