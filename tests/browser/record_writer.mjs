// Writes the files of a speaker record (docs/speaker_record_format.md).
import { writeFileSync } from 'node:fs';
import { join } from 'node:path';

const START = 0xEEDDCC01;
const STOP = 0xEEDDCC02;
const CHANNEL = 0xEEDDCC03;
const ATTRIBUTES = 0xEEDDCC04;
const VIDEO = 0xEEDDCC06;
const AUDIO = 0xEEDDCC07;

export const CAMERA = 2;
export const DESKTOP = 3;

// Each operation appends one index record at `time`, in microseconds.
export class RecordWriter {
  #index = [];
  #data = { [VIDEO]: [], [AUDIO]: [] };
  #sizes = { [VIDEO]: 0, [AUDIO]: 0 };
  #sessions = 0;

  start(time) {
    this.#sessions += 1;
    this.#record(START, time);
  }

  stop(time) { this.#record(STOP, time); }

  channel(time, mediaType) { this.#record(CHANNEL, time, mediaType); }

  attributes(time, width, height, rotation = 0) { this.#record(ATTRIBUTES, time, rotation, width, height); }

  video(time, bytes) { this.#frame(VIDEO, time, bytes); }

  audio(time, bytes) { this.#frame(AUDIO, time, bytes); }

  torn() { this.#index.push(Buffer.from('torn')); }

  write(folder) {
    writeFileSync(join(folder, 'SpeakeRecord.index'), Buffer.concat(this.#index));
    writeFileSync(join(folder, 'SpeakeRecord.264'), Buffer.concat(this.#data[VIDEO]));
    writeFileSync(join(folder, 'SpeakeRecord.aac'), Buffer.concat(this.#data[AUDIO]));
    writeFileSync(join(folder, 'SpeakeRecord.desc'), JSON.stringify({
      speaker_record_overall: {
        record_session_count: this.#sessions, contain_video: 1, contain_desktop: 1, audio_channel_count: 2,
      },
      speaker_record_session: [],
    }));
  }

  #record(type, time, ...fields) {
    const bytes = Buffer.alloc(12 + 4 * fields.length);
    bytes.writeUInt32BE(type, 0);
    bytes.writeBigInt64BE(BigInt(time), 4);
    fields.forEach((field, i) => bytes.writeUInt32BE(field, 12 + 4 * i));
    this.#index.push(bytes);
  }

  #frame(type, time, bytes) {
    this.#record(type, time, 0, this.#sizes[type], bytes.length);
    this.#data[type].push(bytes);
    this.#sizes[type] += bytes.length;
  }
}
