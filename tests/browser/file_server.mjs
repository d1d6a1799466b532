// Serves files on localhost as a site would.
import { createReadStream, statSync } from 'node:fs';
import { createServer } from 'node:http';
import { basename, extname } from 'node:path';

const TYPES = { '.jpg': 'image/jpeg', '.m4a': 'audio/mp4', '.mp4': 'video/mp4', '.vtt': 'text/vtt' };

// Serves `page` at "/" and each of `files` by its name, ranges included: a player seeks by them.
export function serveFiles(files, page) {
  const server = createServer((request, response) => {
    const file = files.find((name) => `/${basename(name)}` === decodeURI(request.url));
    if (!file) {
      response.writeHead(request.url === '/' ? 200 : 404, { 'Content-Type': 'text/html' });
      response.end(page);
      return;
    }
    const size = statSync(file).size;
    const range = /^bytes=(\d+)-(\d*)$/.exec(request.headers.range || '');
    const from = range ? Number(range[1]) : 0;
    const to = range && range[2] ? Number(range[2]) : size - 1;
    response.writeHead(range ? 206 : 200, {
      'Content-Type': TYPES[extname(file)], 'Accept-Ranges': 'bytes', 'Content-Length': to - from + 1,
      ...(range && { 'Content-Range': `bytes ${from}-${to}/${size}` }),
    });
    createReadStream(file, { start: from, end: to }).pipe(response);
  });
  return new Promise((done) => server.listen(0, '127.0.0.1', () => done(server)));
}
