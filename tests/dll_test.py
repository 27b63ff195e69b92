"""What Vespro.dll asks of Windows and offers: it has to be loaded by Outlook on systems as old as
Windows XP, beside whatever else is loaded there, and without delay."""

import fnmatch
import os
import pathlib
import re
import subprocess
import sys
import unittest

PROGRAMS = pathlib.Path(os.environ["VESPRO_PROGRAMS"])
OBJDUMP = os.environ["VESPRO_OBJDUMP"]
DLL = PROGRAMS / os.environ["VESPRO_PROCESSOR"] / "Vespro.dll"

EXPORTS = ["DllCanUnloadNow", "DllGetClassObject", "DllInstall", "DllRegisterServer", "DllUnregisterServer"]

# They are part of every Windows since XP. The compiler's own, and those of newer C libraries, are not.
SYSTEM_DLLS = {
    "advapi32.dll", "comctl32.dll", "comdlg32.dll", "gdi32.dll", "kernel32.dll", "msvcrt.dll", "ole32.dll",
    "oleaut32.dll", "psapi.dll", "shell32.dll", "user32.dll", "version.dll",
}

# Functions that came after Windows XP, as far as anything here could come to use them; with what the
# compiler's thread library would have.
TOO_NEW = """
    AddVectoredExceptionHandler RemoveVectoredExceptionHandler GetTickCount64 QueryUnbiasedInterruptTime
    GetSystemTimePreciseAsFileTime InitOnce* *SRWLock* *ConditionVariable* InitializeCriticalSectionEx
    CreateEventEx* CreateMutexEx* CreateSemaphoreEx* *Threadpool* Fls* GetThreadId SetThreadDescription
    GetFinalPathNameByHandle* *FileInformationByHandleEx SetFileInformationByHandle CreateSymbolicLink*
    CreateFile2 CreateFileTransacted* OpenFileById *LocaleName* *LocaleEx GetLocaleInfoEx GetDateFormatEx GetTimeFormatEx
    CompareString[EO]* LCMapStringEx QueryFullProcessImageName* K32* GetProductInfo
    RegDeleteTree* RegDeleteKeyEx* RegCopyTree* RegGetValue* RegSetKeyValue* RegDeleteKeyValue*
    TaskDialog* LoadIconMetric LoadIconWithScaleDown SetProcessDPIAware GetDpiFor* *ForDpi
    *ThreadDpiAwareness* SHGetKnownFolderPath SHCreateItemFromParsingName SHGetStockIconInfo
    PathCch* AddClipboardFormatListener ChangeWindowMessageFilter*
""".split()


def headers(file):
    return subprocess.run([OBJDUMP, "-p", file], check=True, capture_output=True, text=True).stdout


def imports(text):
    """Names of DLLs, and of functions."""
    dlls = re.findall(r"DLL Name: (\S+)", text)
    tables = text[text.index("DLL Name:"):].split("PE File Base Relocations")[0]
    return {name.lower() for name in dlls}, set(re.findall(r"^\t[0-9a-f]+\s+\d+\s+(\w+)\s*$", tables, re.M))


def too_new(functions):
    return sorted(name for name in functions
                  if any(fnmatch.fnmatchcase(name, pattern) or fnmatch.fnmatchcase(name, pattern + "[AW]")
                         for pattern in TOO_NEW))


class DllTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.text = headers(DLL)
        cls.dlls, cls.functions = imports(cls.text)

    def test_offers_what_com_asks_for_and_nothing_else(self):
        names = re.findall(r"^\t\[ *\d+\] (?:\+base\[ *\d+\] +[0-9a-f]+ )?(\w+)$", self.text, re.M)
        self.assertEqual(names, EXPORTS)

    def test_needs_system_dlls_only(self):
        self.assertIn("kernel32.dll", self.dlls)
        self.assertEqual(self.dlls - SYSTEM_DLLS, set())

    def test_needs_no_function_that_old_systems_lack(self):
        self.assertGreater(len(self.functions), 100)
        self.assertEqual(too_new(self.functions), [])
        # A program of the same compiler, which goes nowhere else, shows that they would be seen.
        self.assertIn("GetTickCount64", too_new(imports(headers(PROGRAMS / "outlook_module_test.exe"))[1]))

    def test_says_that_old_systems_may_load_it(self):
        version = [int(re.search(rf"^M{part}SubsystemVersion\t+(\d+)", self.text, re.M)[1]) for part in ("ajor", "inor")]
        self.assertLessEqual(version, [5, 2])

    def test_is_small(self):
        self.assertLess(DLL.stat().st_size, 3 << 20)


if __name__ == "__main__":
    print(f"{DLL}: {DLL.stat().st_size} bytes", file=sys.stderr)
    unittest.main()
