@echo off
rem Takes back what install.cmd did; the folder may be deleted afterwards. Exit code 0: done.
setlocal
rem The 32-bit regsvr32, also where Windows has both.
set "regsvr=%SystemRoot%\SysWOW64\regsvr32.exe"
if not exist "%regsvr%" set "regsvr=%SystemRoot%\System32\regsvr32.exe"
"%regsvr%" /u /s "%~dp0echo.dll"
if not "%errorlevel%"=="0" goto failed
echo Echo is not registered any more.
exit /b 0
:failed
echo Echo could not be unregistered. Run this file as administrator, with echo.dll beside it.
exit /b 1
