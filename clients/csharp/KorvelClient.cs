// A client of the KORVEL protection service. One file; .NET 6 and later, and C# 7 for older compilers.
//
//   using (var service = new KorvelService())
//       Console.WriteLine(service.GetStatus().ServiceVersion);
//
// The records have the names of docs/protocol.md. Errors: KorvelRefusedException has the service's own text;
// KorvelUnreachableException when no connection comes about; KorvelBrokenExchangeException when a connection ends, a reply is
// late or is none: nobody then knows whether the request was carried out. An object is for one thread at a time.
//
// Without arguments a KorvelService uses the service's pipe, which only Windows has (KorvelPipe.Open, not run by the tests).
// Elsewhere, and in tests, give it a function that returns another stream.
using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.IO;
using System.IO.Pipes;
using System.Security.Principal;
using System.Text;
using System.Threading;

namespace Korvel
{
    /// <summary>The service does not carry a request out; Message is its own text, which may be empty.</summary>
    public class KorvelRefusedException : Exception
    {
        public KorvelRefusedException(string text) : base(text) { }
    }

    /// <summary>No connection came about.</summary>
    public class KorvelUnreachableException : Exception
    {
        public KorvelUnreachableException(string text, Exception cause = null) : base(text, cause) { }
    }

    /// <summary>The connection ended, a reply did not come in time, or it was no reply.</summary>
    public class KorvelBrokenExchangeException : Exception
    {
        public KorvelBrokenExchangeException(string text, Exception cause = null) : base(text, cause) { }
    }

    /// <summary>A payload that cannot be decoded.</summary>
    public class KorvelMalformedException : Exception
    {
        public KorvelMalformedException(string text) : base(text) { }
    }

    public enum KorvelScope : uint { Quick = 0, Full = 1, Memory = 2, Custom = 3 }

    public enum KorvelAction : uint { Quarantine = 1, Delete = 2 }

    public enum KorvelScanEnd { Completed, Cancelled, Stopped, Failed, NothingExamined }

    public class KorvelStatus
    {
        public string ServiceVersion { get; set; }
        public ulong SignatureCount { get; set; }
        public string SignatureVersion { get; set; }
        public bool ProtectionEnabled { get; set; }
        public bool RealTimeActive { get; set; }
        public bool MinifilterConnected { get; set; }
        public bool ScanRunning { get; set; }
        public bool UpdateCheckRunning { get; set; }
        public string UpdateCheckError { get; set; }
        public ulong MinifilterHandled { get; set; }
        public bool LiveUpdateRunning { get; set; }
        public string UpdateCheckInstaller { get; set; }
    }

    public class KorvelCounts
    {
        public ulong FilesDone { get; set; }
        public ulong FilesTotal { get; set; }
        public ulong BytesDone { get; set; }
        public ulong BytesTotal { get; set; }
        public string CurrentPath { get; set; }
        public string Phase { get; set; }
    }

    public class KorvelSummary
    {
        public ulong FilesScanned { get; set; }
        public ulong Threats { get; set; }
        public ulong Suspicious { get; set; }
        public ulong BytesScanned { get; set; }
        public ulong ElapsedMs { get; set; }
        public bool Cancelled { get; set; }
    }

    /// <summary>A detection of real-time protection.</summary>
    public class KorvelEvent
    {
        public string Path { get; set; }
        public string Name { get; set; }
        public string Code { get; set; }
        /// <summary>0 clean, 1 low, 2 medium, 3 high, 4 critical; others: unknown.</summary>
        public uint Severity { get; set; }
        public ulong Size { get; set; }
    }

    public class KorvelReason
    {
        public uint Severity { get; set; }
        public string Code { get; set; }
        public string Title { get; set; }
        public string Detail { get; set; }
    }

    /// <summary>A detection of a scan.</summary>
    public class KorvelThreat : KorvelEvent
    {
        public string Sha256 { get; set; }
        public List<KorvelReason> Reasons { get; set; }
        public List<string> Labels { get; set; }
    }

    public class KorvelProgress
    {
        public KorvelCounts Progress { get; set; }
        public bool Scanning { get; set; }
        public KorvelSummary LastSummary { get; set; }
        public List<KorvelEvent> Events { get; set; }

        /// <summary>How the scan ended whose last progress this is.</summary>
        public KorvelScanEnd End(bool cancelledByMe = false)
        {
            if (Progress.Phase == "failed") return KorvelScanEnd.Failed;
            if (Progress.Phase == "idle" || LastSummary.FilesScanned == 0) return KorvelScanEnd.NothingExamined;
            if (cancelledByMe) return KorvelScanEnd.Cancelled;
            return Progress.FilesDone >= Progress.FilesTotal ? KorvelScanEnd.Completed : KorvelScanEnd.Stopped;
        }
    }

    /// <summary>A file in the quarantine.</summary>
    public class KorvelEntry
    {
        public ulong Id { get; set; }
        public string OriginalPath { get; set; }
        public string StoredPath { get; set; }
        public string Threat { get; set; }
        public string Code { get; set; }
        public uint Severity { get; set; }
        public ulong Size { get; set; }
        /// <summary>Unix seconds.</summary>
        public ulong Time { get; set; }
        public bool StoredFileExists { get; set; }
    }

    public class KorvelSettings
    {
        public bool ProtectionEnabled { get; set; }
        public bool RealTimeEnabled { get; set; }
        public bool ScanArchives { get; set; }
        public bool ScanRemovable { get; set; }
        public bool ShowThreatModal { get; set; }
        public bool QuarantineOnDetect { get; set; }
        public bool ScheduledScan { get; set; }
        public uint ScheduledHour { get; set; }
        public ulong LastScanUtc { get; set; }
        public ulong LastThreatCount { get; set; }
        public string SignatureDb { get; set; }
        public string QuarantineDir { get; set; }
        public bool LiveUpdates { get; set; }
        public ulong LastLiveUpdateUtc { get; set; }
        public bool WebShield { get; set; }
    }

    /// <summary>Takes the fields of a payload in their order. Bytes behind the last known field are ignored.</summary>
    public class KorvelReader
    {
        private readonly byte[] payload;
        private int at;

        public KorvelReader(byte[] payload) { this.payload = payload; }

        public bool IsEmpty { get { return payload.Length == 0; } }

        private int Take(uint count)
        {
            if (count > (uint)(payload.Length - at)) throw new KorvelMalformedException(count + " bytes are missing at " + at);
            int begin = at;
            at += (int)count;
            return begin;
        }

        public uint U32()
        {
            int begin = Take(4);
            return payload[begin] | (uint)payload[begin + 1] << 8 | (uint)payload[begin + 2] << 16 | (uint)payload[begin + 3] << 24;
        }

        public ulong U64()
        {
            if (payload.Length - at < 8) throw new KorvelMalformedException("a number is missing at " + at);
            ulong low = U32();
            return low | (ulong)U32() << 32;
        }

        public bool Bool() { return U32() != 0; }

        public string Text()
        {
            uint count = U32();
            return Encoding.UTF8.GetString(payload, Take(count), (int)count);
        }

        public string Rest() { return Encoding.UTF8.GetString(payload, at, payload.Length - at); }

        public List<T> List<T>(Func<T> read)
        {
            // The count is not to be trusted: an element that is not there ends the loop.
            uint count = U32();
            var list = new List<T>();
            for (uint i = 0; i < count; ++i) list.Add(read());
            return list;
        }

        public KorvelStatus Status()
        {
            return new KorvelStatus
            {
                ServiceVersion = Text(), SignatureCount = U64(), SignatureVersion = Text(), ProtectionEnabled = Bool(),
                RealTimeActive = Bool(), MinifilterConnected = Bool(), ScanRunning = Bool(), UpdateCheckRunning = Bool(),
                UpdateCheckError = Text(), MinifilterHandled = U64(), LiveUpdateRunning = Bool(), UpdateCheckInstaller = Text()
            };
        }

        private KorvelCounts Counts()
        {
            return new KorvelCounts
            {
                FilesDone = U64(), FilesTotal = U64(), BytesDone = U64(), BytesTotal = U64(), CurrentPath = Text(), Phase = Text()
            };
        }

        private KorvelSummary Summary()
        {
            return new KorvelSummary
            {
                FilesScanned = U64(), Threats = U64(), Suspicious = U64(), BytesScanned = U64(), ElapsedMs = U64(),
                Cancelled = Bool()
            };
        }

        private T Event<T>() where T : KorvelEvent, new()
        {
            return new T { Path = Text(), Name = Text(), Code = Text(), Severity = U32(), Size = U64() };
        }

        public KorvelProgress Progress()
        {
            return new KorvelProgress
            {
                Progress = Counts(), Scanning = Bool(), LastSummary = Summary(), Events = List(Event<KorvelEvent>)
            };
        }

        private KorvelReason Reason()
        {
            return new KorvelReason { Severity = U32(), Code = Text(), Title = Text(), Detail = Text() };
        }

        public KorvelThreat Threat()
        {
            var threat = Event<KorvelThreat>();
            threat.Sha256 = Text();
            threat.Reasons = List(Reason);
            threat.Labels = List(Text);
            return threat;
        }

        public KorvelEntry Entry()
        {
            return new KorvelEntry
            {
                Id = U64(), OriginalPath = Text(), StoredPath = Text(), Threat = Text(), Code = Text(), Severity = U32(),
                Size = U64(), Time = U64(), StoredFileExists = Bool()
            };
        }

        public KorvelSettings Settings()
        {
            return new KorvelSettings
            {
                ProtectionEnabled = Bool(), RealTimeEnabled = Bool(), ScanArchives = Bool(), ScanRemovable = Bool(),
                ShowThreatModal = Bool(), QuarantineOnDetect = Bool(), ScheduledScan = Bool(), ScheduledHour = U32() % 24,
                LastScanUtc = U64(), LastThreatCount = U64(), SignatureDb = Text(), QuarantineDir = Text(),
                LiveUpdates = Bool(), LastLiveUpdateUtc = U64(), WebShield = Bool()
            };
        }
    }

    /// <summary>Writes the fields of a payload in their order.</summary>
    public class KorvelWriter
    {
        private readonly MemoryStream bytes = new MemoryStream();

        public KorvelWriter U32(uint value)
        {
            for (int shift = 0; shift < 32; shift += 8) bytes.WriteByte((byte)(value >> shift));
            return this;
        }

        public KorvelWriter U64(ulong value) { return U32((uint)value).U32((uint)(value >> 32)); }

        public KorvelWriter Bool(bool value) { return U32(value ? 1u : 0u); }

        public KorvelWriter Text(string value)
        {
            byte[] text = Encoding.UTF8.GetBytes(value ?? "");
            U32((uint)text.Length);
            bytes.Write(text, 0, text.Length);
            return this;
        }

        public byte[] ToArray() { return bytes.ToArray(); }

        public static byte[] StartScan(KorvelScope scope, IList<string> targets)
        {
            var writer = new KorvelWriter().U32((uint)scope).U32((uint)targets.Count);
            foreach (string target in targets) writer.Text(target);
            return writer.ToArray();
        }

        public static byte[] Decision(KorvelEvent threat, KorvelAction action)
        {
            var found = threat as KorvelThreat;
            return new KorvelWriter().Text(threat.Path).U32((uint)action).Text(threat.Name).Text(threat.Code)
                .U32(threat.Severity).U64(threat.Size).Text(found == null ? "" : found.Sha256).ToArray();
        }

        public static byte[] Settings(KorvelSettings value)
        {
            return new KorvelWriter().Bool(value.ProtectionEnabled).Bool(value.RealTimeEnabled).Bool(value.ScanArchives)
                .Bool(value.ScanRemovable).Bool(value.ShowThreatModal).Bool(value.QuarantineOnDetect)
                .Bool(value.ScheduledScan).U32(value.ScheduledHour).U64(value.LastScanUtc).U64(value.LastThreatCount)
                .Text(value.SignatureDb).Text(value.QuarantineDir).Bool(value.LiveUpdates).U64(value.LastLiveUpdateUtc)
                .Bool(value.WebShield).ToArray();
        }
    }

    /// <summary>The header of a frame.</summary>
    public static class KorvelFrame
    {
        public const int HeaderBytes = 24;
        public const uint Refusal = 0xFFFFFFFF;
        public const uint MostPayloadBytes = 33554432;
        private const uint Magic = 0x4B52564C;
        private const uint Version = 1;

        public static byte[] Header(uint opcode, int length)
        {
            return new KorvelWriter().U32(Magic).U32(Version).U32(opcode).U32((uint)length).U64(0).ToArray();
        }

        /// <summary>The opcode and the length of the payload; KorvelMalformedException when it is no header.</summary>
        public static uint Read(byte[] header, out int length)
        {
            var reader = new KorvelReader(header);
            if (reader.U32() != Magic) throw new KorvelMalformedException("bad magic");
            uint version = reader.U32();
            if (version != Version) throw new KorvelMalformedException("version " + version + " of the protocol");
            uint opcode = reader.U32();
            uint declared = reader.U32();
            if (declared > MostPayloadBytes) throw new KorvelMalformedException("a payload of " + declared + " bytes");
            length = (int)declared;
            return opcode;
        }
    }

    /// <summary>The pipe of the service. Only Windows has it.</summary>
    public static class KorvelPipe
    {
        public const string Name = "KorvelAV";

        /// <summary>Waits while the pipe is busy or not there yet.</summary>
        public static Stream Open(string name = Name, int patienceMs = 10000)
        {
            var pipe = new NamedPipeClientStream(".", name, PipeDirection.InOut, PipeOptions.Asynchronous,
                TokenImpersonationLevel.Identification); // any user may add an instance to the pipe
            try
            {
                pipe.Connect(patienceMs);
                return pipe;
            }
            catch (Exception problem) when (problem is TimeoutException || problem is IOException
                || problem is UnauthorizedAccessException)
            {
                pipe.Dispose();
                throw new KorvelUnreachableException(problem.Message, problem);
            }
        }
    }

    /// <summary>The operations. Connects with the first request; LetGo gives other clients their turn.</summary>
    public sealed class KorvelService : IDisposable
    {
        private const int ReplyWithinMs = 30000;
        private const int FirewallReplyWithinMs = 60000;
        private const int LongestHoldMs = 5000;
        private const int PauseMs = 300;
        private const int AskEveryMs = 300;

        private readonly Func<Stream> connect;
        private readonly Stopwatch held = new Stopwatch();
        private Stream stream;

        public KorvelService() : this(() => KorvelPipe.Open()) { }

        public KorvelService(Func<Stream> connect) { this.connect = connect; }

        public void Dispose() { LetGo(); }

        /// <summary>Disconnects; the next request connects again.</summary>
        public void LetGo()
        {
            Stream old = stream;
            stream = null;
            if (old != null) old.Dispose();
        }

        /// <summary>The payload of the reply, for whoever needs bytes.</summary>
        public byte[] Ask(uint opcode, byte[] payload = null, int withinMs = ReplyWithinMs)
        {
            payload = payload ?? new byte[0];
            if (payload.Length > KorvelFrame.MostPayloadBytes) throw new ArgumentException("the payload is too large");
            if (stream == null)
            {
                stream = connect();
                held.Restart();
            }
            try
            {
                var clock = Stopwatch.StartNew();
                byte[] header = KorvelFrame.Header(opcode, payload.Length);
                byte[] request = new byte[header.Length + payload.Length];
                header.CopyTo(request, 0);
                payload.CopyTo(request, header.Length);
                Finish(stream.WriteAsync(request, 0, request.Length), clock, withinMs);
                Finish(stream.FlushAsync(), clock, withinMs);
                int length;
                uint answer = KorvelFrame.Read(ReadExactly(KorvelFrame.HeaderBytes, clock, withinMs), out length);
                byte[] reply = ReadExactly(length, clock, withinMs);
                if (answer == KorvelFrame.Refusal)
                {
                    var reader = new KorvelReader(reply);
                    throw new KorvelRefusedException(reader.IsEmpty ? "" : reader.Text());
                }
                if (answer != opcode) throw new KorvelMalformedException("a reply to request " + answer);
                return reply;
            }
            catch (KorvelMalformedException problem)
            {
                LetGo();
                throw new KorvelBrokenExchangeException("the reply to request " + opcode + " is none: " + problem.Message, problem);
            }
            catch (KorvelBrokenExchangeException)
            {
                LetGo();
                throw;
            }
        }

        private static void Finish(System.Threading.Tasks.Task task, Stopwatch clock, int withinMs)
        {
            try
            {
                int left = (int)Math.Max(0, withinMs - clock.ElapsedMilliseconds);
                if (!task.Wait(left)) throw new KorvelBrokenExchangeException("no reply in time");
            }
            catch (AggregateException problem)
            {
                throw new KorvelBrokenExchangeException("the connection has ended", problem.InnerException);
            }
        }

        private byte[] ReadExactly(int count, Stopwatch clock, int withinMs)
        {
            byte[] bytes = new byte[count];
            for (int done = 0; done < count;)
            {
                var read = stream.ReadAsync(bytes, done, count - done);
                Finish(read, clock, withinMs);
                if (read.Result == 0) throw new KorvelBrokenExchangeException("the connection has ended");
                done += read.Result;
            }
            return bytes;
        }

        private T Get<T>(uint opcode, Func<KorvelReader, T> read, byte[] request = null, int withinMs = ReplyWithinMs)
        {
            byte[] reply = Ask(opcode, request, withinMs);
            try
            {
                return read(new KorvelReader(reply));
            }
            catch (KorvelMalformedException problem)
            {
                LetGo();
                throw new KorvelBrokenExchangeException("the reply to request " + opcode + " is not understood", problem);
            }
        }

        public KorvelStatus GetStatus() { return Get(1, reader => reader.Status()); }

        /// <summary>Milliseconds since the start of the system, the low 32 bits.</summary>
        public uint Ping() { return Get(2, reader => reader.U32()); }

        /// <summary>Targets are folders, made absolute; only Custom uses them.</summary>
        public void StartScan(KorvelScope scope, params string[] targets) { Ask(3, KorvelWriter.StartScan(scope, targets)); }

        /// <summary>Takes the events away: keep those that it returns.</summary>
        public KorvelProgress GetProgress() { return Get(4, reader => reader.Progress()); }

        public void CancelScan() { Ask(5); }

        public List<KorvelThreat> GetResults() { return Get(6, reader => reader.List(reader.Threat)); }

        /// <summary>Quarantines or deletes the file of a threat, or of an event.</summary>
        public void Decide(KorvelEvent threat, KorvelAction action) { Ask(7, KorvelWriter.Decision(threat, action)); }

        public List<KorvelEntry> ListQuarantine() { return Get(8, reader => reader.List(reader.Entry)); }

        public void DeleteQuarantined(ulong id) { Ask(9, new KorvelWriter().U64(id).ToArray()); }

        /// <summary>Replaces what is at the old place now: look first.</summary>
        public void RestoreQuarantined(ulong id) { Ask(10, new KorvelWriter().U64(id).ToArray()); }

        public KorvelSettings GetSettings() { return Get(11, reader => reader.Settings()); }

        /// <summary>
        /// Changes settings and keeps the others; returns those that are in force then. Every change empties UpdateServer,
        /// which no client sees: tell the user when settings.ini names one.
        /// </summary>
        public KorvelSettings ChangeSettings(Action<KorvelSettings> change)
        {
            KorvelSettings settings = GetSettings();
            change(settings);
            Ask(12, KorvelWriter.Settings(settings));
            return GetSettings();
        }

        public void ReloadSignatures() { Ask(13); }

        public void StartLiveUpdate() { Ask(14); }

        public void StartUpdateCheck() { Ask(15); }

        public string FirewallListing() { return Get(16, reader => reader.Rest(), null, FirewallReplyWithinMs); }

        private void ChangeFirewall(uint opcode, string argument)
        {
            byte[] request = new KorvelWriter().Text(argument).ToArray();
            string problem = Get(opcode, reader =>
            {
                bool ok = reader.Bool();
                string text = reader.Text();
                return ok ? null : text;
            }, request, FirewallReplyWithinMs);
            if (problem != null) throw new KorvelRefusedException(problem);
        }

        public void SetFirewallProfile(string profile, bool on) { ChangeFirewall(17, profile + (on ? ",1" : ",0")); }

        public void BlockInbound(bool on) { ChangeFirewall(18, on ? "1" : "0"); }

        public void AddFirewallRule(string action, string direction, string program)
        {
            ChangeFirewall(19, action + "|" + direction + "|" + program);
        }

        public void RemoveFirewallRules() { ChangeFirewall(20, ""); }

        public void Stop()
        {
            Ask(21);
            LetGo();
        }

        /// <summary>Replies of GetProgress until no scan runs; the last one shows the end. Each may hold events.</summary>
        public IEnumerable<KorvelProgress> Follow()
        {
            for (;;)
            {
                KorvelProgress progress = GetProgress();
                yield return progress;
                if (!progress.Scanning) yield break;
                if (held.ElapsedMilliseconds >= LongestHoldMs)
                {
                    LetGo();
                    Thread.Sleep(PauseMs);
                }
                else
                {
                    Thread.Sleep(AskEveryMs);
                }
            }
        }
    }
}
