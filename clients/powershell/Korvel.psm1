# Functions over korvelctl for PowerShell 5.1 and later. They speak through its JSON, so an object has the fields that
# docs/korvelctl.md gives the documents.
#
#   Import-Module .\Korvel.psm1
#   Start-KorvelScan C:\Samples | Select-Object outcome
#   Get-KorvelThreat | Where-Object severity -in high, critical | Move-KorvelThreat
#
# Not executed by the tests: Debian has no PowerShell. The command lines are those of docs/korvelctl.md.
Set-StrictMode -Version 2

# The program: beside this module, else in the folders of PATH.
$script:KorvelCtl = Join-Path $PSScriptRoot 'korvelctl.exe'
if (-not (Test-Path -LiteralPath $script:KorvelCtl)) { $script:KorvelCtl = 'korvelctl.exe' }

<#
.SYNOPSIS
Runs korvelctl with --json and returns its document. A failure is a terminating error with the text of korvelctl.
#>
function Invoke-KorvelCtl {
    param([Parameter(Mandatory)][string[]]$ArgumentList)
    $before = [Console]::OutputEncoding
    try {
        [Console]::OutputEncoding = New-Object System.Text.UTF8Encoding $false
        $text = & $script:KorvelCtl --lang en --json @ArgumentList | Out-String
    } finally {
        [Console]::OutputEncoding = $before
    }
    $document = $text | ConvertFrom-Json
    if ($document.schema -like 'korvel.error/*') {
        throw ('korvelctl: {0}: {1}' -f $document.error.kind, $document.error.message)
    }
    foreach ($problem in $document.errors) { Write-Error ('{0}: {1}' -f $problem.item, $problem.message) }
    $document
}

# The full path without a backslash at its end, which would hide the quote behind it from a program.
function Resolve-KorvelPath {
    param([Parameter(Mandatory)][string]$Path)
    $full = $ExecutionContext.SessionState.Path.GetUnresolvedProviderPathFromPSPath($Path)
    if ($full.Length -gt 3) { $full.TrimEnd('\') } else { $full }
}

<#
.SYNOPSIS
Shows version, signatures, protection and problems of the service.
#>
function Get-KorvelStatus { Invoke-KorvelCtl status }

<#
.SYNOPSIS
Scans folders and waits for the end. Without a path the quick scan runs.
.OUTPUTS
The document korvel.scan/1: its outcome says whether the scan was completed, its threats what it found.
#>
function Start-KorvelScan {
    param([string[]]$Path)
    if (-not $Path) { return Invoke-KorvelCtl 'scan', 'quick' }
    Invoke-KorvelCtl (@('scan') + @($Path | ForEach-Object { Resolve-KorvelPath $_ }))
}

<#
.SYNOPSIS
Lists what the last scan found. The field n is the number that the other functions take.
#>
function Get-KorvelThreat { (Invoke-KorvelCtl 'threats', 'list', '--all').threats }

<#
.SYNOPSIS
Moves files of the last scan into the quarantine.
#>
function Move-KorvelThreat {
    [CmdletBinding(SupportsShouldProcess)]
    param([Parameter(Mandatory, ValueFromPipelineByPropertyName)][Alias('n')][int[]]$Number)
    begin { $numbers = @() }
    process { $numbers += $Number }
    end {
        # In one call: a scan that another client starts meanwhile would number them anew.
        if ($numbers -and $PSCmdlet.ShouldProcess("threats $numbers", 'Move to quarantine')) {
            (Invoke-KorvelCtl (@('threats', 'quarantine', '--yes') + $numbers)).items
        }
    }
}

<#
.SYNOPSIS
Deletes files of the last scan.
#>
function Remove-KorvelThreat {
    [CmdletBinding(SupportsShouldProcess, ConfirmImpact = 'High')]
    param([Parameter(Mandatory, ValueFromPipelineByPropertyName)][Alias('n')][int[]]$Number)
    begin { $numbers = @() }
    process { $numbers += $Number }
    end {
        if ($numbers -and $PSCmdlet.ShouldProcess("threats $numbers", 'Delete')) {
            (Invoke-KorvelCtl (@('threats', 'delete', '--yes') + $numbers)).items
        }
    }
}

<#
.SYNOPSIS
Lists the files in the quarantine.
#>
function Get-KorvelQuarantineItem { (Invoke-KorvelCtl 'quarantine', 'list').records }

<#
.SYNOPSIS
Moves files from the quarantine back to where they were. With -Force what is there now is replaced.
#>
function Restore-KorvelQuarantineItem {
    [CmdletBinding(SupportsShouldProcess)]
    param([Parameter(Mandatory, ValueFromPipelineByPropertyName)][string[]]$Id, [switch]$Force)
    process {
        $more = if ($Force) { @('--force') } else { @() }
        if ($PSCmdlet.ShouldProcess("$Id", 'Restore')) {
            (Invoke-KorvelCtl (@('quarantine', 'restore') + $more + $Id)).items
        }
    }
}

<#
.SYNOPSIS
Erases files in the quarantine.
#>
function Remove-KorvelQuarantineItem {
    [CmdletBinding(SupportsShouldProcess, ConfirmImpact = 'High')]
    param([Parameter(Mandatory, ValueFromPipelineByPropertyName)][string[]]$Id)
    process {
        if ($PSCmdlet.ShouldProcess("$Id", 'Delete')) {
            (Invoke-KorvelCtl (@('quarantine', 'delete', '--yes') + $Id)).items
        }
    }
}

<#
.SYNOPSIS
Shows the settings of the service.
#>
function Get-KorvelConfig { (Invoke-KorvelCtl 'config', 'list').settings }

<#
.SYNOPSIS
Changes one setting and keeps the others.
.DESCRIPTION
A change makes the service forget its update server. Where one is set, the command refuses, unless -KeepServer writes it
again (which takes an administrator) or -AcceptServerReset lets it go.
#>
function Set-KorvelConfig {
    [CmdletBinding(SupportsShouldProcess)]
    param([Parameter(Mandatory)][string]$Name, [Parameter(Mandatory)][AllowEmptyString()][string]$Value,
        [switch]$KeepServer, [switch]$AcceptServerReset)
    $more = @()
    if ($KeepServer) { $more += '--keep-server' }
    if ($AcceptServerReset) { $more += '--accept-server-reset' }
    if ($PSCmdlet.ShouldProcess($Name, "Set to $Value")) {
        (Invoke-KorvelCtl (@('config', 'set', "$Name=$Value") + $more)).changes
    }
}

<#
.SYNOPSIS
Downloads signatures and waits for the end.
#>
function Update-KorvelSignature { Invoke-KorvelCtl 'update', 'signatures' }

Export-ModuleMember -Function Get-KorvelStatus, Start-KorvelScan, Get-KorvelThreat, Move-KorvelThreat, Remove-KorvelThreat,
    Get-KorvelQuarantineItem, Restore-KorvelQuarantineItem, Remove-KorvelQuarantineItem, Get-KorvelConfig, Set-KorvelConfig,
    Update-KorvelSignature
