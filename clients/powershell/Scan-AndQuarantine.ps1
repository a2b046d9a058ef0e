# Scans a folder, waits for the end and takes what is dangerous into the quarantine. Exit code: 0 nothing dangerous,
# 1 everything dangerous is stored, 2 something was not carried out. Not executed by the tests: Debian has no PowerShell.
param([Parameter(Mandatory)][string]$Folder)
$ErrorActionPreference = 'Stop'
Import-Module (Join-Path $PSScriptRoot 'Korvel.psm1')
try {
    $scan = Start-KorvelScan $Folder
    "the scan is $($scan.outcome)"
    $dangerous = @(Get-KorvelThreat | Where-Object { $_.severity -in 'high', 'critical' -and $_.state -eq 'present' })
    $stored = @($dangerous | Move-KorvelThreat)
    $stored | ForEach-Object { "$($_.result): $($_.path)" }
    "$(@(Get-KorvelQuarantineItem).Count) files are in the quarantine"
} catch {
    [Console]::Error.WriteLine($_)
    exit 2
}
if ($scan.outcome -ne 'completed' -or @($stored | Where-Object result -ne 'ok').Count) { exit 2 }
if ($dangerous) { exit 1 }
