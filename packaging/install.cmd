@echo off
rem Registers Echo, the sample effect that lies beside this file, for all users. Exit code 0: done.
setlocal
rem The 32-bit regsvr32, also where Windows has both.
set "regsvr=%SystemRoot%\SysWOW64\regsvr32.exe"
if not exist "%regsvr%" set "regsvr=%SystemRoot%\System32\regsvr32.exe"
"%regsvr%" /s "%~dp0echo.dll"
if not "%errorlevel%"=="0" goto failed
echo Echo is registered. Leave the folder where it is, and try:
echo     dxconv convert in.wav out.wav --effect Echo
exit /b 0
:failed
echo Echo could not be registered. Run this file as administrator, with echo.dll beside it.
exit /b 1
