// The C# client with a stream that holds the bytes of one reply, for csharp_client_test.py. Reads a line per case:
//
//   reply OPCODE OPCODE-OF-REPLY HEX    prints what the client makes of the reply, as JSON, or "refused"
//   request OPCODE FIELD...             prints the payload that it sends; texts in Base64
using System;
using System.Collections;
using System.Collections.Generic;
using System.Globalization;
using System.IO;
using System.Linq;
using System.Reflection;
using System.Text;
using Korvel;

/// <summary>Gives known bytes and keeps what is written.</summary>
public sealed class CannedStream : Stream
{
    private readonly MemoryStream input;
    public readonly MemoryStream Written = new MemoryStream();

    public CannedStream(byte[] bytes) { input = new MemoryStream(bytes); }

    public override bool CanRead { get { return true; } }
    public override bool CanWrite { get { return true; } }
    public override bool CanSeek { get { return false; } }
    public override long Length { get { throw new NotSupportedException(); } }
    public override long Position { get { throw new NotSupportedException(); } set { throw new NotSupportedException(); } }
    public override long Seek(long offset, SeekOrigin origin) { throw new NotSupportedException(); }
    public override void SetLength(long value) { throw new NotSupportedException(); }
    public override void Flush() { }
    // In small parts, as a pipe may give them.
    public override int Read(byte[] buffer, int offset, int count) { return input.Read(buffer, offset, Math.Min(count, 4000)); }
    public override void Write(byte[] buffer, int offset, int count) { Written.Write(buffer, offset, count); }
}

public static class VectorConversation
{
    private sealed class Named
    {
        public readonly string Name;
        public readonly object Value;

        public Named(string name, object value)
        {
            Name = name;
            Value = value;
        }
    }

    private static readonly Named[] Nothing = new Named[0];

    private static object Call(KorvelService service, uint opcode)
    {
        switch (opcode)
        {
            case 1: return service.GetStatus();
            case 2: return new[] { new Named("tickCount", service.Ping()) };
            case 3: service.StartScan(KorvelScope.Quick); return Nothing;
            case 4: return service.GetProgress();
            case 5: service.CancelScan(); return Nothing;
            case 6: return new[] { new Named("threats", service.GetResults()) };
            case 7: service.Decide(new KorvelEvent(), KorvelAction.Quarantine); return Nothing;
            case 8: return new[] { new Named("entries", service.ListQuarantine()) };
            case 9: service.DeleteQuarantined(1); return Nothing;
            case 10: service.RestoreQuarantined(1); return Nothing;
            case 11: return service.GetSettings();
            case 13: service.ReloadSignatures(); return Nothing;
            case 14: service.StartLiveUpdate(); return Nothing;
            case 15: service.StartUpdateCheck(); return Nothing;
            case 16: return new[] { new Named("listing", service.FirewallListing()) };
            case 17: service.SetFirewallProfile("public", true); return Nothing;
            case 18: service.BlockInbound(true); return Nothing;
            case 19: service.AddFirewallRule("block", "in", "x"); return Nothing;
            case 20: service.RemoveFirewallRules(); return Nothing;
            default: service.Stop(); return Nothing;
        }
    }

    private static void Put(StringBuilder text, string value)
    {
        text.Append('"');
        foreach (char c in value)
        {
            if (c == '"' || c == '\\') text.Append('\\').Append(c);
            else if (c < ' ' || c > '~') text.Append("\\u").Append(((int)c).ToString("x4"));
            else text.Append(c);
        }
        text.Append('"');
    }

    /// <summary>The properties of a record, those of its base first.</summary>
    private static IEnumerable<Named> PropertiesOf(object value)
    {
        var types = new Stack<Type>();
        for (Type type = value.GetType(); type != typeof(object); type = type.BaseType) types.Push(type);
        foreach (Type type in types)
        {
            foreach (PropertyInfo property in type.GetProperties(BindingFlags.Public | BindingFlags.Instance | BindingFlags.DeclaredOnly))
            {
                string name = value is KorvelSettings ? property.Name : char.ToLowerInvariant(property.Name[0]) + property.Name.Substring(1);
                yield return new Named(name, property.GetValue(value, null));
            }
        }
    }

    private static void Put(StringBuilder text, object value)
    {
        if (value is bool) text.Append((bool)value ? "true" : "false");
        else if (value is uint || value is ulong) text.Append(Convert.ToString(value, CultureInfo.InvariantCulture));
        else if (value is string) Put(text, (string)value);
        else if (value is IList && !(value is Named[]))
        {
            text.Append('[');
            string comma = "";
            foreach (object part in (IList)value)
            {
                text.Append(comma);
                comma = ",";
                Put(text, part);
            }
            text.Append(']');
        }
        else
        {
            text.Append('{');
            string comma = "";
            foreach (Named member in value as Named[] ?? PropertiesOf(value))
            {
                text.Append(comma);
                comma = ",";
                Put(text, member.Name);
                text.Append(':');
                Put(text, member.Value);
            }
            text.Append('}');
        }
    }

    private static byte[] BytesOf(string hex)
    {
        byte[] bytes = new byte[hex.Length / 2];
        for (int i = 0; i < bytes.Length; ++i) bytes[i] = Convert.ToByte(hex.Substring(2 * i, 2), 16);
        return bytes;
    }

    private static string Reply(uint opcode, uint replyOpcode, byte[] payload)
    {
        var stream = new CannedStream(KorvelFrame.Header(replyOpcode, payload.Length).Concat(payload).ToArray());
        object value;
        try
        {
            value = Call(new KorvelService(() => stream), opcode);
        }
        catch (KorvelRefusedException refusal)
        {
            value = new[] { new Named("error", refusal.Message) };
        }
        catch (KorvelBrokenExchangeException)
        {
            return "refused";
        }
        var text = new StringBuilder();
        Put(text, value);
        return text.ToString();
    }

    private static string TextOf(string base64) { return Encoding.UTF8.GetString(Convert.FromBase64String(base64.TrimStart('='))); }

    /// <summary>The record whose fields these words are.</summary>
    private static T RecordOf<T>(IList<string> words) where T : new()
    {
        var record = new T();
        int at = 0;
        foreach (PropertyInfo property in typeof(T).GetProperties())
        {
            object value = words[at++];
            if (property.PropertyType == typeof(string)) value = TextOf((string)value);
            else value = Convert.ChangeType(value, property.PropertyType, CultureInfo.InvariantCulture);
            property.SetValue(record, value, null);
        }
        return record;
    }

    private static string Request(uint opcode, IList<string> words)
    {
        var stream = new CannedStream(KorvelFrame.Header(opcode, 0));
        var service = new KorvelService(() => stream);
        try
        {
            switch (opcode)
            {
                case 3: service.StartScan((KorvelScope)uint.Parse(words[0]), words.Skip(1).Select(TextOf).ToArray()); break;
                case 7:
                    service.Decide(new KorvelThreat
                    {
                        Path = TextOf(words[0]), Name = TextOf(words[2]), Code = TextOf(words[3]), Severity = uint.Parse(words[4]),
                        Size = ulong.Parse(words[5]), Sha256 = TextOf(words[6])
                    }, (KorvelAction)uint.Parse(words[1]));
                    break;
                case 9: service.DeleteQuarantined(ulong.Parse(words[0])); break;
                case 10: service.RestoreQuarantined(ulong.Parse(words[0])); break;
                case 12: service.Ask(12, KorvelWriter.Settings(RecordOf<KorvelSettings>(words))); break;
                case 17: service.SetFirewallProfile(TextOf(words[0]), words[1] == "1"); break;
                case 18: service.BlockInbound(words[0] == "1"); break;
                case 19: service.AddFirewallRule(TextOf(words[0]), TextOf(words[1]), TextOf(words[2])); break;
                default: Call(service, opcode); break;
            }
        }
        catch (KorvelBrokenExchangeException)
        {
            // The empty reply says nothing; the request is what counts.
        }
        return string.Concat(stream.Written.ToArray().Skip(KorvelFrame.HeaderBytes).Select(one => one.ToString("x2")));
    }

    public static void Main()
    {
        var output = new StreamWriter(Console.OpenStandardOutput(), new UTF8Encoding(false)) { NewLine = "\n" };
        for (string line; (line = Console.In.ReadLine()) != null;)
        {
            string[] words = line.Split(' ');
            uint opcode = uint.Parse(words[1]);
            output.WriteLine(words[0] == "reply" ? Reply(opcode, uint.Parse(words[2]), BytesOf(words[3]))
                                                 : Request(opcode, words.Skip(2).ToArray()));
        }
        output.Flush();
    }
}
