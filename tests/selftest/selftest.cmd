@echo off
rem Runs the tests of this kit and writes report.xml and report.html beside this file. README.txt says more.
"%~dp0bin\selftest.exe" %*
exit /b %errorlevel%
